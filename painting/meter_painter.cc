#include "painting/meter_painter.h"

#include <algorithm>
#include <cmath>

#include "painting/meter_face.h"
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

std::uint32_t ValueColor(const gaugekit::CMeter& meter) {
  if (meter.meterValue > meter.highLimit) return meter.colors.highLimit;
  if (meter.meterValue < meter.lowLimit) return meter.colors.lowLimit;
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
    const gaugekit::CMeter& meter = face.meter;
    face.Number(left, NumberText(meter.lowLimit, meter.decPlaces), meter.lowLimit, face.font, EAlign::kLeft,
                face.Colors().lowLimit);
    face.Number(right, NumberText(meter.highLimit, meter.decPlaces), meter.highLimit, face.font, EAlign::kRight,
                face.Colors().highLimit);
  }
  const TFont font = {*face.font.face, face.font.size * kFooterLines / kLineShare};
  face.Number(middle, ValueText(face.meter), face.meter.meterValue, font, EAlign::kCentre, face.value);
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

void PaintMeter(CCanvas& canvas, const gaugekit::CMeter& meter, double reserved) {
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
                meter.content >= gaugekit::kFull,
                scale.Share(meter.lowLimit),
                scale.Share(meter.highLimit)};
  const CCanvas::CInside inside(canvas, field);
  const bool isHistory = meter.mode == gaugekit::kHistory;
  if (!isHistory) face.Grid(field);
  const double margin = isNumber ? 0 : std::clamp(std::min(field.width, field.height) * 0.05, 2.0, 12.0);
  face.field = field.Shrunk(margin);
  const double footer = face.font.size * kFooterLines * 1.1;
  if (hasScale && !isNumber && footer <= face.field.height * kFooterShare) {
    face.footer = face.field.CutBottom(footer);
    face.field.height -= margin / 2;
    PaintFooter(face);
  }
  if (face.field.Empty()) return;
  kFaces[meter.mode <= gaugekit::kModeCount ? meter.mode : 0](face);
}

}  // namespace painting
