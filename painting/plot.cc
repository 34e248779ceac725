// What a plot keeps of its samples; plot_picture.cc draws it.
#include "painting/plot.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace painting {

namespace {

void Extend(TPlotBucket* bucket, const TPlotBucket& by) {
  // A sample that is no number is a gap, which any other fills.
  bucket->lowest = std::fmin(bucket->lowest, by.lowest);
  bucket->highest = std::fmax(bucket->highest, by.highest);
  bucket->last = by.last;
}

}  // namespace

std::size_t CPlot::AddPanel(std::string title, std::string unit, double share) {
  panels.push_back({std::move(title), std::move(unit), share, false, {}, {}});
  return panels.size() - 1;
}

std::size_t CPlot::AddPanelBelow(std::string unit, double share) {
  const std::size_t panel = AddPanel("", std::move(unit), share);
  panels[panel].below = true;
  return panel;
}

void CPlot::AddCurve(std::size_t panel, std::string name, std::uint32_t color, bool holds) {
  panels[panel].curves.push_back(curves.size());
  Add({std::move(name), color, holds});
}

std::size_t CPlot::AddShade(std::string name) {
  Add({std::move(name), kPlotShade, true});
  return curves.size() - 1;
}

void CPlot::Add(TPlotCurve curve) {
  curves.push_back(std::move(curve));
  buckets.emplace_back();
  mostBuckets = 2 * std::clamp<std::size_t>(kMostBucketsInAll / 2 / curves.size(), 1, kMostBuckets / 2);
}

void CPlot::Feed(double time, const std::vector<double>& values) {
  if (inLast == perBucket && times.size() == mostBuckets) Halve();
  const bool begins = times.empty() || inLast == perBucket;
  if (begins) {
    times.push_back(time);
    inLast = 0;
  }
  for (std::size_t curve = 0; curve < buckets.size(); ++curve) {
    const TPlotBucket sample = {values[curve], values[curve], values[curve], values[curve]};
    if (begins) {
      buckets[curve].push_back(sample);
    } else {
      Extend(&buckets[curve].back(), sample);
    }
  }
  ++inLast;
  lastTime = time;
}

std::vector<TStretch> CPlot::Stretches(std::size_t shade) const {
  std::vector<TStretch> stretches;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (buckets[shade][i].lowest == 0 && buckets[shade][i].highest == 0) continue;
    const double end = i + 1 < times.size() ? times[i + 1] : lastTime;
    if (!stretches.empty() && stretches.back().to == times[i]) {
      stretches.back().to = end;
    } else {
      stretches.push_back({times[i], end});
    }
  }
  return stretches;
}

// Two buckets become one.
void CPlot::Halve() {
  for (std::size_t pair = 0; 2 * pair < times.size(); ++pair) {
    times[pair] = times[2 * pair];
    for (auto& curve : buckets) {
      curve[pair] = curve[2 * pair];
      Extend(&curve[pair], curve[2 * pair + 1]);
    }
  }
  times.resize(mostBuckets / 2);
  for (auto& curve : buckets) curve.resize(mostBuckets / 2);
  perBucket *= 2;
  inLast = perBucket;
}

}  // namespace painting
