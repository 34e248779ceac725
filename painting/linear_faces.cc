// The straight faces: bar, slider and LED bar lie, column and thermometer stand.
#include <algorithm>
#include <cmath>
#include <vector>

#include "painting/meter_face.h"

namespace painting {

namespace {

// Shares of a track's length that its thickness may take.
constexpr double kBarThickness = 0.34;
constexpr double kSliderThickness = 0.2;
constexpr double kThermometerThickness = 0.14;
constexpr double kThickness = 16.0;  // pixels that it may take in any case

// A track along which the range runs, to the right or upward.
struct TTrack {
  TBox box;
  bool upright;

  double Length() const { return upright ? box.height : box.width; }
  double Thickness() const { return upright ? box.width : box.height; }
  double At(double share) const { return upright ? box.Bottom() - box.height * share : box.x + box.width * share; }
  TBox Part(double from, double to) const {
    return upright ? TBox{box.x, At(to), box.width, box.height * (to - from)}
                   : TBox{At(from), box.y, box.width * (to - from), box.height};
  }
  // The part of a strip beside the track, `offset` from its edge: under a
  // lying one, at the left of an upright one.
  TBox Beside(double from, double to, double offset, double width) const {
    const TBox part = Part(from, to);
    return upright ? TBox{box.x - offset - width, part.y, width, part.height}
                   : TBox{part.x, box.Bottom() + offset, part.width, width};
  }
};

// At whole pixels, so that its edges are sharp.
TBox Whole(const TBox& box) {
  const double x = std::round(box.x);
  const double y = std::round(box.y);
  return {x, y, std::max(std::round(box.Right()) - x, 1.0), std::max(std::round(box.Bottom()) - y, 1.0)};
}

double ZoneWidth(const TFace& face) { return face.hasLimits ? std::max(2.0, face.font.size * 0.25) : 0; }

void PaintScaleBelow(const TFace& face, const std::vector<TTick>& ticks, const TTrack& track, double offset,
                     bool hasTexts) {
  const double length = TickLength(face);
  const double spacing = track.Length() / static_cast<double>(std::max<std::size_t>(ticks.size(), 1));
  for (const TTick& tick : ticks) {
    const bool isMajor = !tick.text.empty();
    if (!isMajor && spacing < 3.5) continue;
    const double x = track.At(tick.share);
    const double top = track.box.Bottom() + offset;
    face.canvas.Line({x, top}, {x, top + length * (isMajor ? 1 : 0.6)}, 1, face.Colors().ink);
    if (!isMajor || !hasTexts) continue;
    const double width = std::min(face.font.size * 4.5, 2 * std::min(x - face.field.x, face.field.Right() - x));
    face.canvas.Text({x - width / 2, top + length, width, face.LineHeight()}, tick.text, face.font, EAlign::kCentre,
                     face.Colors().ink);
  }
}

// Where values are beyond a limit: a zone beside the track, and a mark over it.
void PaintLimits(const TFace& face, const TTrack& track) {
  for (const TLimit& limit : face.limits) {
    face.canvas.Fill(track.Beside(limit.from, limit.to, 1, ZoneWidth(face)), limit.color);
  }
}

void PaintLimitMarks(const TFace& face, const TTrack& track) {
  const double half = std::max(0.75, face.font.size * 0.08);
  const double beyond = ZoneWidth(face) + 1;
  for (const TLimit& limit : face.limits) {
    const double at = track.At(limit.share);
    const TBox& box = track.box;
    face.canvas.Fill(track.upright ? TBox{box.x - beyond, at - half, box.width + beyond, 2 * half}
                                   : TBox{at - half, box.y, 2 * half, box.height + beyond},
                     limit.color);
  }
}

// Places a track in the middle of the field with its scale, and draws that.
TTrack LayOutLying(const TFace& face, double thicknessShare) {
  TBox box = face.field;
  std::vector<TTick> ticks;
  double below = 0;
  double zone = 0;
  bool hasTexts = false;
  if (face.hasScale) {
    ticks = face.scale.Ticks(TextsAlong(box.width, TextLength(face)));
    double side = 0;
    for (const TTick& tick : ticks) {
      if (tick.share < 0.1 || tick.share > 0.9) {
        side = std::max(side, face.canvas.TextWidth(tick.text, face.font) / 2);
      }
    }
    side = std::min(side, box.width / 6);
    box.x += side;
    box.width -= 2 * side;
    zone = ZoneWidth(face) + 1;
    below = zone + TickLength(face);
    hasTexts = box.height - below - face.LineHeight() >= face.LineHeight() * 0.6;
    if (hasTexts) below += face.LineHeight();
  }
  const double thickness =
      std::max(std::min(box.height - below, std::max(box.width * thicknessShare, kThickness)), 3.0);
  const double top = box.y + (box.height - thickness - below) / 2;
  const TTrack track = {Whole({box.x, top, box.width, thickness}), false};
  if (face.hasScale) PaintScaleBelow(face, ticks, track, zone, hasTexts);
  if (face.hasScale && !hasTexts) face.FootRange();
  if (face.hasLimits) PaintLimits(face, track);
  return track;
}

// `foot` is left free below the track, `head` above it.
TTrack LayOutUpright(const TFace& face, double thicknessShare, double head, double foot) {
  TBox box = face.field;
  box.CutTop(std::min(head, box.height / 4));
  box.CutBottom(std::min(foot, box.height / 2));
  double left = 0;
  const double zone = face.hasScale ? ZoneWidth(face) + 1 : 0;
  if (face.hasScale) {
    const double inset = std::min(face.LineHeight() / 2, box.height / 6);
    box.CutTop(std::max(inset - head, 0.0));
    box.CutBottom(std::max(inset - foot, 0.0));
    left = zone + ScaleWidth(face, box.height);
  }
  const double thickness = std::max(std::min(box.width - left, std::max(box.height * thicknessShare, kThickness)), 3.0);
  const double x = box.x + (box.width - thickness - left) / 2 + left;
  const TTrack track = {Whole({x, box.y, thickness, box.height}), true};
  if (face.hasScale) PaintScaleLeftOf(face, track.box.x - zone, track.box.y, track.box.Bottom());
  if (face.hasLimits) PaintLimits(face, track);
  return track;
}

void PaintFilled(const TFace& face, const TTrack& track) {
  face.canvas.Fill(track.box, face.Hollow());
  const TBox part = track.Part(0, face.Share());
  face.canvas.Fill(part, face.value);
  // A light along the edge, so that it looks solid.
  const double light = track.Thickness() * 0.3;
  face.canvas.Fill(track.upright ? TBox{part.x, part.y, light, part.height} : TBox{part.x, part.y, part.width, light},
                   {0xFFFFFF, 0.25});
  face.canvas.Frame(track.box, 1, face.Outline());
  if (face.hasLimits) PaintLimitMarks(face, track);
}

}  // namespace

double ScaleWidth(const TFace& face, double height) {
  double widest = 0;
  for (const TTick& tick : face.scale.Ticks(TextsAlong(height, face.LineHeight() * 1.4))) {
    widest = std::max(widest, face.canvas.TextWidth(tick.text, face.font));
  }
  return std::min(widest + 2, face.field.width / 3) + TickLength(face);
}

void PaintScaleLeftOf(const TFace& face, double x, double top, double bottom) {
  const double height = bottom - top;
  const auto ticks = face.scale.Ticks(TextsAlong(height, face.LineHeight() * 1.4));
  const double spacing = height / static_cast<double>(std::max<std::size_t>(ticks.size(), 1));
  const double length = TickLength(face);
  const double width = ScaleWidth(face, height) - length - 2;
  for (const TTick& tick : ticks) {
    const bool isMajor = !tick.text.empty();
    if (!isMajor && spacing < 3.5) continue;
    const double y = bottom - height * tick.share;
    face.canvas.Line({x - length * (isMajor ? 1 : 0.6), y}, {x, y}, 1, face.Colors().ink);
    face.canvas.Text({x - length - 2 - width, y - face.LineHeight() / 2, width, face.LineHeight()}, tick.text,
                     face.font, EAlign::kRight, face.Colors().ink);
  }
}

void PaintBar(const TFace& face) { PaintFilled(face, LayOutLying(face, kBarThickness)); }

void PaintColumn(const TFace& face) { PaintFilled(face, LayOutUpright(face, kBarThickness, 0, 0)); }

void PaintSlider(const TFace& face) {
  const TTrack track = LayOutLying(face, kSliderThickness);
  const double thickness = track.Thickness();
  const double groove = std::max(2.0, thickness * 0.22);
  const TBox box = {track.box.x, track.box.CenterY() - groove / 2, track.box.width, groove};
  face.canvas.RoundedPath(box, groove / 2);
  face.canvas.FillPath(face.Hollow());
  face.canvas.Frame(box, 1, face.Outline());
  if (face.hasLimits) PaintLimitMarks(face, track);
  const double width = std::max(5.0, thickness * 0.5);
  const double x = track.At(face.Share());
  const TBox knob = {x - width / 2, track.box.y, width, thickness};
  face.canvas.RoundedPath(knob, width * 0.25);
  face.canvas.FillPath(face.value);
  face.canvas.RoundedPath(knob.Shrunk(0.5), width * 0.25);
  face.canvas.Stroke(1, {0x000000, 0.5});
  face.canvas.Line({x, knob.y + thickness * 0.2}, {x, knob.Bottom() - thickness * 0.2}, 1, {0x000000, 0.7});
}

void PaintLedBar(const TFace& face) {
  const TTrack track = LayOutLying(face, kBarThickness * 0.7);
  constexpr double kMost = 40;
  const int segments =
      static_cast<int>(std::clamp(track.Length() / std::max(5.0, track.Thickness() * 0.3), 5.0, kMost));
  const double count = segments;
  const double lit = std::round(face.Share() * count);
  const double gap = std::max(1.0, track.Length() / count * 0.18);
  for (int i = 0; i < segments; ++i) {
    const double middle = (i + 0.5) / count;
    TBox segment = track.Part(i / count, (i + 1) / count);
    segment.x += gap / 2;
    segment.width -= gap;
    std::uint32_t zone = face.Colors().value;
    for (const TLimit& limit : face.limits) {
      if (face.hasLimits && limit.from < middle && middle < limit.to) zone = limit.color;
    }
    face.canvas.Fill(segment, i < lit ? face.value : Mixed(0x000000, zone, 0.28));
  }
  if (face.hasLimits) PaintLimitMarks(face, track);
}

void PaintThermometer(const TFace& face) {
  const double bulb = std::clamp(std::min(face.field.width, face.field.height) * 0.15, 5.0, 40.0);
  const double tube = bulb * 0.9;
  TTrack track = LayOutUpright(face, kThermometerThickness, tube / 2, 2 * bulb);
  // The liquid runs in the middle of the glass and ends in the bulb.
  const double middle = track.box.CenterX();
  const double width = std::min(track.box.width, tube);
  const TPosition centre = {middle, track.box.Bottom() + bulb};
  const TBox glass = {middle - width / 2, track.box.y - width / 2, width, centre.y - track.box.y + width / 2};
  face.canvas.RoundedPath(glass, width / 2);
  face.canvas.FillPath(face.Hollow());
  face.canvas.RoundedPath(glass, width / 2);
  face.canvas.Stroke(1, face.Outline());
  face.canvas.Disc(centre, bulb, Mixed(face.Colors().paper, face.Colors().ink, 0.65));
  face.canvas.Disc(centre, bulb - 1.2, face.value);
  track.box.x = middle - width * 0.3;
  track.box.width = width * 0.6;
  const TBox liquid = track.Part(0, face.Share());
  face.canvas.Fill({liquid.x, liquid.y, liquid.width, centre.y - liquid.y}, face.value);
  face.canvas.Disc({centre.x - bulb * 0.3, centre.y - bulb * 0.3}, bulb * 0.25, {0xFFFFFF, 0.4});
  if (face.hasLimits) PaintLimitMarks(face, {{middle - width / 2, track.box.y, width, track.box.height}, true});
}

}  // namespace painting
