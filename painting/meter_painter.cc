#include "painting/meter_painter.h"

#include <algorithm>
#include <cmath>

#include "painting/meter_face.h"
#include "runtime/instruments/meters.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

// Pixels.
constexpr double kLine = 1.0;
constexpr double kFramePaperShare = 1.0 / 30;  // of the shorter side
constexpr double kFramePaperMost = 3.0;
constexpr double kLabelShare = 0.09;  // of the field's shorter side
constexpr double kLabelLeast = 9.0;
constexpr double kLabelMost = 20.0;
constexpr double kFooterLines = 1.35;     // the value's size, in label sizes
constexpr double kFooterShare = 0.36;     // of the field's height, at most
constexpr double kFootValueShare = 0.44;  // of the footer's width
constexpr double kGridLeast = 3.0;        // between lines
constexpr double kHeadShare = 0.45;       // of the field's height that a name may take

// By mode code; a code that is in no table is drawn as a bar.
constexpr TFacePainter kFaces[gaugekit::kModeCount + 1] = {
    PaintBar,    PaintDial, PaintHalfDial, PaintBar,         PaintColumn,  PaintSlider,
    PaintNumber, PaintLamp, PaintLedBar,   PaintThermometer, PaintHistory,
};

// From outside: a line, the border's paper, the shadows, the paper. The top
// shadow is above and at the left, so that the field looks sunk.
TBox PaintFrame(CCanvas& canvas, const TBox& box, const gaugekit::TColors& colors, bool isDescribed) {
  const double most = isDescribed ? kLine : kFramePaperMost;  // a description stands close to the edge
  const double paper = std::clamp(std::floor(std::min(box.width, box.height) * kFramePaperShare), kLine, most);
  canvas.Fill(box, colors.borderPaper);
  canvas.Frame(box, kLine, colors.borderInk);
  const TBox sunk = box.Shrunk(kLine + paper);
  canvas.Fill(sunk, colors.bottomShadow);
  canvas.Fill({sunk.x, sunk.y, sunk.width - kLine, kLine}, colors.topShadow);
  canvas.Fill({sunk.x, sunk.y, kLine, sunk.height - kLine}, colors.topShadow);
  const TBox field = sunk.Shrunk(kLine);
  canvas.Fill(field, colors.paper);
  return field;
}

// A limit that nobody gave is none.
std::vector<TLimit> LimitsOf(const gaugekit::CMeter& meter, const CScale& scale) {
  const gaugekit::CMeter& given = runtime::GiverOf(meter);
  const bool rises = meter.rangeFrom <= meter.rangeTo;
  std::vector<TLimit> limits;
  const auto add = [&](std::uint32_t mark, double limit, std::uint32_t color, bool isLow) {
    if (mark == hx_vinst::kNoMark) return;
    const double share = scale.Share(limit);
    const bool endsAtShare = isLow == rises;
    limits.push_back({limit, color, isLow, share, endsAtShare ? 0 : share, endsAtShare ? share : 1});
  };
  add(given.lowLimitMark, meter.lowLimit, meter.colors.lowLimit, true);
  add(given.highLimitMark, meter.highLimit, meter.colors.highLimit, false);
  return limits;
}

std::uint32_t ValueColor(const gaugekit::CMeter& meter) {
  const gaugekit::CMeter& given = runtime::GiverOf(meter);
  const bool hasHigh = given.highLimitMark != hx_vinst::kNoMark;
  const bool hasLow = given.lowLimitMark != hx_vinst::kNoMark;
  if (hasHigh && meter.meterValue > meter.highLimit) return meter.colors.highLimit;
  if (hasLow && meter.meterValue < meter.lowLimit) return meter.colors.lowLimit;
  return meter.colors.value;
}

TFont LabelFont(const gaugekit::CMeter& meter, const TBox& field) {
  if (meter.fontHandle != 0) return TFont(meter.font);
  const double size = kLabelShare * std::min(field.width, field.height);
  return {meter.font, std::clamp(size, kLabelLeast, kLabelMost)};
}

// The value in the middle, the limits at the ends.
void PaintFooter(const TFace& face) {
  if (face.footer.Empty()) return;
  TBox middle = face.footer;
  if (face.hasLimits) {
    const double side = face.footer.width * (1 - kFootValueShare) / 2;
    const TBox left = middle.CutLeft(side);
    const TBox right = {middle.Right() - side, middle.y, side, middle.height};
    middle.width -= side;
    for (const TLimit& limit : face.limits) {
      face.Number(limit.isLow ? left : right, NumberText(limit.value, face.meter.decPlaces), limit.value, face.font,
                  limit.isLow ? EAlign::kLeft : EAlign::kRight, limit.color);
    }
  }
  const TFont font = {*face.font.face, face.font.size * kFooterLines / kLineShare};
  face.Number(middle, face.ValueText(), face.meter.meterValue, font, EAlign::kCentre, face.value);
}

}  // namespace

void TFace::Grid(const TBox& box) const {
  const auto lines = [](double extent, std::uint32_t divisions) {
    return static_cast<int>(std::min<double>(divisions, std::floor(extent / kGridLeast)));
  };
  const int rows = lines(box.height, meter.hGrid);
  for (int i = 1; i < rows; ++i) {
    canvas.Fill({box.x, std::round(box.y + box.height * i / rows), box.width, kLine}, Colors().hGrid);
  }
  const int columns = lines(box.width, meter.vGrid);
  for (int i = 1; i < columns; ++i) {
    canvas.Fill({std::round(box.x + box.width * i / columns), box.y, kLine, box.height}, Colors().vGrid);
  }
}

void TFace::Number(const TBox& box, const std::u16string& text, double number, const TFont& withFont, EAlign align,
                   TPaint paint) const {
  if (!canvas.Text(box, text, withFont, align, paint)) {
    canvas.Text(box, ShortNumberText(number), withFont, align, paint);
  }
}

std::u16string TFace::ValueText() const {
  std::u16string shown = painting::ValueText(meter);
  if (!about.isModeGiven && !about.unit.empty()) shown += u" " + about.unit;
  return shown;
}

void TFace::FootRange() const {
  if (footer.Empty() || hasLimits) return;
  TBox middle = footer;
  const double side = footer.width * (1 - kFootValueShare) / 2;
  Number(middle.CutLeft(side), ShortNumberText(meter.rangeFrom), meter.rangeFrom, font, EAlign::kLeft, Colors().ink);
  Number({footer.Right() - side, footer.y, side, footer.height}, ShortNumberText(meter.rangeTo), meter.rangeTo, font,
         EAlign::kRight, Colors().ink);
}

std::size_t TextsAlong(double length, double each) {
  constexpr double kMost = 10;
  return static_cast<std::size_t>(std::clamp(length / each, 2.0, kMost));
}

double TextLength(const TFace& face) {
  return face.font.size + std::max(face.canvas.TextWidth(ShortNumberText(face.meter.rangeFrom), face.font),
                                   face.canvas.TextWidth(ShortNumberText(face.meter.rangeTo), face.font));
}

double TickLength(const TFace& face) { return std::max(3.0, face.font.size * 0.4); }

void PaintMeter(CCanvas& canvas, const gaugekit::CMeter& meter, const TMeterText& text, double reserved) {
  const TBox box = {0, 0, static_cast<double>(meter.rect.width), static_cast<double>(meter.rect.height)};
  if (box.Empty()) return;
  TBox field = PaintFrame(canvas, box, meter.colors, reserved > 0);
  const double covered = reserved - field.y;
  if (covered > 0) field.CutTop(std::min(covered, field.height));
  if (field.Empty()) return;

  const bool isNumber = meter.mode == gaugekit::kNumber;
  const bool hasScale = meter.content >= gaugekit::kScale;
  const CScale scale(meter.rangeFrom, meter.rangeTo);
  TFace face = {canvas,
                meter,
                scale,
                field,
                {},
                LabelFont(meter, field),
                ValueColor(meter),
                hasScale,
                false,
                LimitsOf(meter, scale),
                text};
  face.hasLimits = meter.content >= gaugekit::kFull && !face.limits.empty();
  const CCanvas::CInside inside(canvas, field);
  const bool isHistory = meter.mode == gaugekit::kHistory;
  if (!isHistory) face.Grid(field);
  const double margin = isNumber ? 0 : std::clamp(std::min(field.width, field.height) * 0.05, 2.0, 12.0);
  face.field = field.Shrunk(margin);
  if (!text.isModeGiven && covered <= 0) {
    const TBox head = face.field.CutTop(std::min(face.LineHeight(), face.field.height * kHeadShare));
    canvas.CutText(head, text.name, face.font, EAlign::kCentre, meter.colors.ink);
  }
  const double footer = face.font.size * kFooterLines * 1.1;
  if (hasScale && !isNumber && footer <= face.field.height * kFooterShare) {
    face.footer = face.field.CutBottom(footer);
    face.field.height -= margin / 2;
    PaintFooter(face);
  }
  if (face.field.Empty()) return;
  if (!text.isModeGiven && !hasScale) return PaintUnasked(face);
  kFaces[meter.mode <= gaugekit::kModeCount ? meter.mode : 0](face);
}

}  // namespace painting
