#include "panel/server/live_history.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace panel {

CLiveHistory::CLiveHistory(const TFrameLayout& theLayout, const CSamples& theSamples, double thePeriod,
                           CHistory* theOlder)
    : layout(theLayout), samples(theSamples), period(thePeriod), older(theOlder), columns(theLayout.Trends()) {}

bool CLiveHistory::Read(const std::vector<std::string>& items, double from, double to, std::size_t points,
                        TTrend* trend, std::string* error) {
  // Times that are kept elsewhere may be off by a rounding: between two periods there is none.
  const double border =
      samples.IsEmpty() ? std::numeric_limits<double>::infinity() : samples.FirstTime() - 0.5 * period;
  std::vector<std::size_t> wanted;
  for (const std::string& item : items) {
    const auto found = std::lower_bound(columns.begin(), columns.end(), layout.IndexOf(item).value());
    wanted.push_back(static_cast<std::size_t>(found - columns.begin()));
  }
  const bool isAllHere = older == nullptr || from >= border || points < 2;
  const bool isNothingHere = !isAllHere && to < border;
  if (isNothingHere) return older->Read(items, from, to, points, trend, error);
  if (isAllHere) {
    *trend = samples.Trend(wanted, from, to, points);
    return true;
  }
  const double share = std::clamp((border - from) / (to - from), 0.0, 1.0);
  const std::size_t before = std::clamp<std::size_t>(
      static_cast<std::size_t>(std::lround(share * static_cast<double>(points))), 1, points - 1);
  if (!older->Read(items, from, border, before, trend, error)) return false;
  const TTrend here = samples.Trend(wanted, border, to, points - before);
  for (std::size_t i = 0; i < items.size(); ++i) {
    trend->series[i].insert(trend->series[i].end(), here.series[i].begin(), here.series[i].end());
  }
  trend->resolution = std::max(trend->resolution, here.resolution);
  return true;
}

}  // namespace panel
