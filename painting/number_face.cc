// The number, and what a pane shows whose definition gives no mode. A number is as
// large as its pane unless the definition gives it a font. Its
// scale is a line under it, its limits are marks on that line and, where there
// is room, numbers at both sides.
#include <algorithm>

#include "painting/meter_face.h"

namespace painting {

namespace {

// As large as the box, unless the definition gives a font.
void PaintDigits(const TFace& face, const TBox& box) {
  constexpr double kDigitsShare = 0.8;  // of a font's size: the height of digits, and a little
  constexpr double kTallest = 72.0;     // pixels
  // Digits have nothing below the line, so the box may grow by that.
  const TFont font = face.meter.fontHandle != 0 ? TFont(face.meter.font)
                                                : TFont(*face.font.face, std::min(box.height / kDigitsShare, kTallest));
  const double height = std::max(box.height / kDigitsShare * kLineShare, 0.0);
  face.Number({box.x, box.CenterY() - height / 2, box.width, height}, face.ValueText(), face.meter.meterValue, font,
              EAlign::kCentre, face.value);
}

}  // namespace

void PaintNumber(const TFace& face) {
  constexpr double kLineHeightShare = 0.12;
  constexpr double kLimitShare = 0.24;  // of the width, each
  constexpr double kLimitHeightShare = 0.3;
  constexpr double kLimitSize = 12.0;  // pixels of a limit's digits, where the pane is low
  constexpr double kLeastLimit = 6.5;
  TBox box = face.field;
  const double side = std::clamp(box.width * 0.02, 1.0, 8.0);
  box.x += side;
  box.width -= 2 * side;
  if (face.hasScale) {
    TBox line = box.CutBottom(std::clamp(box.height * kLineHeightShare, 2.0, 8.0));
    line.height -= std::min(line.height / 3, 2.0);
    face.canvas.Fill(line, face.Hollow());
    face.canvas.Fill({line.x, line.y, line.width * face.Share(), line.height}, face.value);
    if (face.hasLimits) {
      const double mark = std::max(1.0, line.height * 0.4);
      const double room = line.width - mark;
      for (const TLimit& limit : face.limits) {
        face.canvas.Fill({line.x + room * limit.share, line.y, mark, line.height}, limit.color);
      }
    }
  }
  if (face.hasLimits) {
    const double width = box.width * kLimitShare;
    const TBox left = box.CutLeft(width);
    box.width -= width;
    const TBox right = {box.Right(), box.y, width, box.height};
    // All in one size.
    TFont font = face.font;
    if (face.meter.fontHandle == 0) font.size = std::max(box.height * kLimitHeightShare, kLimitSize);
    const auto text = [&](const TLimit& limit) { return NumberText(limit.value, face.meter.decPlaces); };
    double widest = 0;
    for (const TLimit& limit : face.limits) widest = std::max(widest, face.canvas.TextWidth(text(limit), font));
    if (widest > width) font.size = std::max(font.size * width / widest, kLeastLimit);
    for (const TLimit& limit : face.limits) {
      face.Number(limit.isLow ? left : right, text(limit), limit.value, font,
                  limit.isLow ? EAlign::kLeft : EAlign::kRight, limit.color);
    }
    box = {box.x + side, box.y, box.width - 2 * side, box.height};
  }
  PaintDigits(face, box);
}

void PaintUnasked(const TFace& face) {
  constexpr double kLevelShare = 0.16;
  constexpr double kGapShare = 0.12;  // above the level
  TBox box = face.field;
  const TBox level = box.CutBottom(std::clamp(box.height * kLevelShare, 3.0, 12.0));
  face.canvas.Fill(level, face.Hollow());
  face.canvas.Fill({level.x, level.y, level.width * face.Share(), level.height}, face.value);
  box.CutBottom(box.height * kGapShare);
  PaintDigits(face, box);
}

}  // namespace painting
