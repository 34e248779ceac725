#include "workbench/run/metrics.h"

#include <algorithm>
#include <cmath>

namespace workbench {
namespace {

constexpr double kSettlingBand = 0.02;  // of the change
constexpr double kSameWish = 1e-9;      // of the largest

}  // namespace

TWishMotion CWishFollower::Follow(double wish, double value) {
  const bool begins = rowsSinceChange == 0;
  largest = std::max(largest, std::fabs(wish));
  const bool changes = begins || std::fabs(wish - standing) > kSameWish * largest;
  if (begins) {
    from = value;
  } else if (changes) {
    if (rowsSinceChange == 1) moves = true;
    if (!moves) from = standing;
  }
  if (changes) standing = wish;
  // The first row has none before it that changed.
  rowsSinceChange = begins ? kStandingRows : changes ? 1 : rowsSinceChange + 1;
  moves = moves && rowsSinceChange < kStandingRows;
  return {changes, moves, begins, from};
}

void CMetrics::Feed(const TSample& sample, const TWishMotion& wish) {
  const double error = sample.wish - sample.value;
  ++rows;
  lastError = error;
  largestError = std::max(largestError, std::fabs(error));
  absoluteSum += std::fabs(error);
  squaredSum += error * error;
  if (sample.outputBefore) {
    travel += std::fabs(sample.output - *sample.outputBefore);
    if (sample.output != *sample.outputBefore) ++switchings;
  }
  if (sample.output > 0.0) ++plusSteps;
  if (sample.output < 0.0) ++minusSteps;
  if (sample.wishLimited) ++wishLimited;
  if (sample.valueLimited) ++valueLimited;
  if (sample.saturated) ++saturated;
  if (sample.band) {
    bandKnown = true;
    if (sample.value > sample.wish + sample.band->plus || sample.value < sample.wish - sample.band->minus) ++outside;
  }
  moves = wish.moves;
  if (wish.changes) response = TResponse{wish.from, sample.wish, sample.time, wish.begins, 0.0, std::nullopt};
  if (response) FollowResponse(sample);
}

void CMetrics::FollowResponse(const TSample& sample) {
  const double change = response->to - response->from;
  const double beyond = sample.value - response->to;
  // Without a direction, as when a ramp came back, either side counts.
  const double signedBeyond = change > 0.0 ? beyond : change < 0.0 ? -beyond : std::fabs(beyond);
  response->excursion = std::max(response->excursion, signedBeyond);
  if (std::fabs(beyond) > kSettlingBand * std::fabs(change)) {
    response->settled.reset();
  } else if (!response->settled) {
    response->settled = sample.time;
  }
}

TFigures CMetrics::Figures(ERegulatorKind kind, double rowSeconds) const {
  TFigures figures;
  if (rows == 0) return figures;
  const auto count = static_cast<double>(rows);
  const auto seconds = [&](std::uint64_t part) { return static_cast<double>(part) * rowSeconds; };
  const auto percent = [&](std::uint64_t part) { return static_cast<double>(part) / count * 100.0; };
  figures.finalError = lastError;
  figures.largestError = largestError;
  if (kind == ERegulatorKind::kContinuous) {
    figures.meanError = absoluteSum / count;
    figures.absoluteError = absoluteSum * rowSeconds;
    figures.squaredError = squaredSum * rowSeconds;
    figures.travel = travel;
    figures.saturated = seconds(saturated);
    AddResponse(&figures);
  } else if (bandKnown) {
    figures.outsideBand = seconds(outside);
    figures.outsideBandPercent = percent(outside);
  }
  if (kind == ERegulatorKind::kTwoState) {
    figures.switchings = static_cast<double>(switchings);
    figures.duty = percent(plusSteps);
  }
  if (kind == ERegulatorKind::kIncremental) {
    figures.plusSteps = static_cast<double>(plusSteps);
    figures.minusSteps = static_cast<double>(minusSteps);
    figures.valveTravel = seconds(plusSteps + minusSteps);
  }
  figures.wishLimited = seconds(wishLimited);
  figures.valueLimited = seconds(valueLimited);
  return figures;
}

void CMetrics::AddResponse(TFigures* figures) const {
  if (!response || moves) return;
  figures->overshoot = response->excursion;
  const double change = std::fabs(response->to - response->from);
  if (change == 0.0) return;
  figures->responds = true;
  if (!response->begins) figures->overshootPercent = response->excursion / change * 100.0;
  if (response->settled) figures->settling = *response->settled - response->time;
}

}  // namespace workbench
