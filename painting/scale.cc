#include "painting/scale.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "runtime/text/wide_text.h"

namespace painting {

namespace {

constexpr std::uint32_t kNumberCapacity = 255;
constexpr double kRounding = 1e-9;  // of a step

// Round steps within a decade and into how many small ones they fall.
struct TStep {
  double size;
  int parts;
};
constexpr TStep kSteps[] = {{1, 5}, {2, 4}, {5, 5}, {10, 5}};

}  // namespace

double CScale::Share(double value) const {
  if (std::isnan(value)) return 0;
  if (from == to) return value > from ? 1 : 0;
  const double halved = (value / 2 - from / 2) / (to / 2 - from / 2);  // no range overflows
  return std::isnan(halved) ? 0 : std::clamp(halved, 0.0, 1.0);
}

std::vector<TTick> CScale::Ticks(std::size_t most) const {
  std::vector<TTick> ticks;
  const double low = std::min(from, to);
  const double high = std::max(from, to);
  const double raw = (high - low) / static_cast<double>(std::max<std::size_t>(most, 2));
  const double decade = std::pow(10.0, std::floor(std::log10(raw)));
  const double first = std::ceil(low / raw);
  // A range too narrow for its numbers, or too wide for a double, has its ends.
  constexpr double kFinest = 1e12;  // steps from zero
  if (!(raw > 0) || !std::isfinite(raw) || !(decade > 0) || std::abs(first) > kFinest) {
    return {{0, ShortNumberText(from)}, {1, ShortNumberText(to)}};
  }
  const auto* step = std::find_if(std::begin(kSteps), std::end(kSteps) - 1,
                                  [&](const TStep& known) { return known.size * decade >= raw * (1 - kRounding); });
  const double size = step->size * decade / step->parts;
  const auto places =
      static_cast<std::uint32_t>(std::clamp(-std::floor(std::log10(step->size * decade) + kRounding), 0.0, 15.0));
  const auto begin = static_cast<std::int64_t>(std::ceil(low / size - kRounding));
  const auto end = static_cast<std::int64_t>(std::floor(high / size + kRounding));
  for (std::int64_t k = begin; k <= end; ++k) {
    const double tick = static_cast<double>(k);
    const bool isMajor = std::fmod(tick, step->parts) == 0;
    ticks.push_back({Share(tick * size), isMajor ? NumberText(tick * size + 0.0, places) : std::u16string()});
  }
  const auto texts = std::count_if(ticks.begin(), ticks.end(), [](const TTick& tick) { return !tick.text.empty(); });
  if (texts >= 2) return ticks;
  // No two round numbers are in the range: its ends are told.
  for (TTick& tick : ticks) tick.text.clear();
  ticks.push_back({0, ShortNumberText(from)});
  ticks.push_back({1, ShortNumberText(to)});
  return ticks;
}

std::u16string NumberText(double value, std::uint32_t places) {
  char16_t text[kNumberCapacity + 1];
  std::uint32_t length = 0;
  runlib::RealToWStr(value, places, kNumberCapacity, text, &length);
  return {text, length};
}

std::u16string ShortNumberText(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", value);
  return runtime::Utf16(text);
}

std::u16string ValueText(const gaugekit::CMeter& meter) {
  double value = meter.meterValue;
  if (meter.realStep > 0) {
    const double stepped = std::round(value / meter.realStep) * meter.realStep;
    if (std::isfinite(stepped)) value = stepped;
  }
  std::u16string number = NumberText(value, meter.decPlaces);
  const std::u16string_view mask = runtime::WideView(std::size(meter.mask), meter.mask);
  if (mask.empty()) return number;
  std::u16string text;
  for (const char16_t unit : mask) text += unit == u'#' ? number : std::u16string(1, unit);
  return text;
}

}  // namespace painting
