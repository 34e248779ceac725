#include "runtime/instruments/placing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace runtime {

namespace {

// Pixels.
constexpr std::int64_t kEdge = 10;     // of the window, and between instruments
constexpr std::int64_t kCaption = 20;  // between rows: an instrument's name stands above it
constexpr std::int64_t kLeastRow = 900;

}  // namespace

void PlaceInstruments(TApplicationState& application) {
  std::int64_t top = kEdge;
  double area = 0;
  for (const TInstrumentState& instrument : application.instruments) {
    const vcom::CRect& rect = instrument.object->rect;
    if (instrument.isPlaced) {
      top = std::max(top, std::int64_t{rect.y} + rect.height + kCaption);
    } else {
      area += double(rect.width + kEdge) * double(rect.height + kCaption);
    }
  }
  // As wide as high, where that is more than a row.
  const std::int64_t rowEnd = std::max(kLeastRow, static_cast<std::int64_t>(std::sqrt(area)));
  std::int64_t left = kEdge;
  std::int64_t bottom = top;
  for (const TInstrumentState& instrument : application.instruments) {
    if (instrument.isPlaced) continue;
    const vcom::CRect rect = instrument.object->rect;
    if (left > kEdge && left + rect.width > rowEnd) {
      left = kEdge;
      top = bottom + kCaption;
    }
    const auto x = static_cast<std::int32_t>(left);
    const auto y = static_cast<std::int32_t>(std::min<std::int64_t>(top, INT32_MAX));
    if (x != rect.x || y != rect.y) instrument.object->NewRect({x, y, rect.width, rect.height});
    left += std::max(rect.width, 0) + kEdge;
    bottom = std::max(bottom, top + std::max(rect.height, 0));
  }
}

}  // namespace runtime
