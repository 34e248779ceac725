// The number: as large as its pane unless the definition gives it a font. Its
// scale is a line under it, its limits are marks on that line and, where there
// is room, numbers at both sides.
#include <algorithm>

#include "painting/meter_face.h"

namespace painting {

void PaintNumber(const TFace& face) {
  constexpr double kLineHeightShare = 0.12;
  constexpr double kLimitShare = 0.24;  // of the width, each
  constexpr double kDigitsShare = 0.8;  // of a font's size: the height of digits, and a little
  constexpr double kTallest = 72.0;     // pixels
  constexpr double kLimitHeightShare = 0.3;
  constexpr double kLimitSize = 12.0;  // pixels of a limit's digits, where the pane is low
  constexpr double kLeastLimit = 6.5;
  const gaugekit::TColors& colors = face.Colors();
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
      face.canvas.Fill({line.x + room * face.low, line.y, mark, line.height}, colors.lowLimit);
      face.canvas.Fill({line.x + room * face.high, line.y, mark, line.height}, colors.highLimit);
    }
  }
  if (face.hasLimits) {
    const double width = box.width * kLimitShare;
    const TBox left = box.CutLeft(width);
    box.width -= width;
    const TBox right = {box.Right(), box.y, width, box.height};
    const gaugekit::CMeter& meter = face.meter;
    const std::u16string low = NumberText(meter.lowLimit, meter.decPlaces);
    const std::u16string high = NumberText(meter.highLimit, meter.decPlaces);
    // Both in one size.
    TFont font = face.font;
    if (meter.fontHandle == 0) font.size = std::max(box.height * kLimitHeightShare, kLimitSize);
    const double widest = std::max(face.canvas.TextWidth(low, font), face.canvas.TextWidth(high, font));
    if (widest > width) font.size = std::max(font.size * width / widest, kLeastLimit);
    face.Number(left, low, meter.lowLimit, font, EAlign::kLeft, colors.lowLimit);
    face.Number(right, high, meter.highLimit, font, EAlign::kRight, colors.highLimit);
    box = {box.x + side, box.y, box.width - 2 * side, box.height};
  }
  // Digits have nothing below the line, so the box may grow by that.
  const std::u16string text = ValueText(face.meter);
  const TFont font = face.meter.fontHandle != 0 ? TFont(face.meter.font)
                                                : TFont(*face.font.face, std::min(box.height / kDigitsShare, kTallest));
  const double height = std::max(box.height / kDigitsShare * kLineShare, 0.0);
  face.Number({box.x, box.CenterY() - height / 2, box.width, height}, text, face.meter.meterValue, font,
              EAlign::kCentre, face.value);
}

}  // namespace painting
