#include "painting/time_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "runtime/runtime.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

constexpr double kDay = 86400;
constexpr double kClockFrom = 7200;  // the end of an axis that is told in seconds
// Seconds between ticks; beyond them whole days, below them fractions of seconds.
constexpr double kClockSteps[] = {1,   2,   5,    10,   15,   30,    60,    120,   300,
                                  600, 900, 1800, 3600, 7200, 10800, 21600, 43200, kDay};
constexpr double kClockRounding = 1e-9;  // of a step

// 1, 2 or 5 of a decade.
double RoundStep(double least) {
  const double decade = std::pow(10.0, std::floor(std::log10(least)));
  for (const double size : {1.0, 2.0, 5.0}) {
    if (size * decade >= least * (1 - kClockRounding)) return size * decade;
  }
  return 10 * decade;
}

double ClockStep(double least) {
  if (least > kDay) return kDay * RoundStep(least / kDay);
  if (least < kClockSteps[0]) return RoundStep(least);
  return *std::find_if(std::begin(kClockSteps), std::end(kClockSteps), [&](double step) { return step >= least; });
}

// Of a time in seconds, told with its day: "2 d 06:30". Seconds stand where ticks
// are no whole minutes, with `places` decimals.
std::u16string ClockText(double time, bool withDay, bool withSeconds, int places) {
  const double day = std::floor(time / kDay);
  const double rest = time - day * kDay;
  const auto minutes = static_cast<int>(rest / 60);
  char text[80] = "";
  int length = 0;
  if (withDay) length = std::snprintf(text, sizeof text, "%.0f d", day);
  if (withDay && rest == 0) return runtime::Utf16(text);
  const auto room = sizeof text - static_cast<std::size_t>(length);
  length += std::snprintf(text + length, room, withDay ? " %02d:%02d" : "%d:%02d", minutes / 60, minutes % 60);
  if (withSeconds) {
    std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), ":%0*.*f", places > 0 ? places + 3 : 2,
                  places, rest - minutes * 60.0);
  }
  return runtime::Utf16(text);
}

std::u16string Title(const char* text) { return runtime::Utf16(runtime::Translated(text)); }

}  // namespace

TTimeAxis TimeAxis(double from, double to, std::size_t most) {
  TTimeAxis axis;
  axis.isClock = to > kClockFrom;
  if (!axis.isClock) {
    axis.ticks = CScale(from, to).Ticks(most);
    std::erase_if(axis.ticks, [](const TTick& tick) { return tick.text.empty(); });
    axis.title = Title("time (s)");
    return axis;
  }
  const CScale scale(from, to);
  const double step = ClockStep((to - from) / static_cast<double>(most));
  const bool withSeconds = std::fmod(step, 60.0) != 0;
  const int places = step < 1 ? static_cast<int>(std::ceil(-std::log10(step) - kClockRounding)) : 0;
  const double finest = std::pow(10.0, places);
  double dayBefore = 0;
  for (double k = std::ceil(from / step - kClockRounding); k * step <= to + step * kClockRounding; ++k) {
    const double time = std::round(k * step * finest) / finest + 0.0;
    const double day = std::floor(time / kDay);
    const bool withDay = day != dayBefore || step >= kDay;
    axis.ticks.push_back({scale.Share(time), ClockText(time, withDay, withSeconds, places)});
    dayBefore = day;
  }
  axis.title = Title(step >= kDay ? "time (days)" : withSeconds ? "time (h:min:s)" : "time (h:min)");
  return axis;
}

}  // namespace painting
