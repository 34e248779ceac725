#include "workbench/run/experiment.h"

#include <algorithm>
#include <cmath>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kLeastRest = 40;  // periods
constexpr double kRestOfOutput = 0.05;  // of the amplitude: what counts as no drift of the output
constexpr double kRestOfValue = 0.02;   // of the bound's width, of the value
constexpr std::uint64_t kHeld = 20;     // periods
constexpr std::uint64_t kTracked = 2;   // periods of the return in which the output is the base
constexpr std::uint64_t kReturn = 20;   // periods in all
constexpr std::uint64_t kCycles = 20;
constexpr double kHysteresis = 3.0;  // sigma
constexpr double kSteady = 0.02;     // of the answer to a step: no drift
constexpr double kAnswer = 3.0;      // sigma: less is none

}  // namespace

double CExperiment::TSums::ThirdQuarter(std::size_t from) const {
  const std::size_t half = from + (Count() - from) / 2;
  const std::size_t middle = half + (Count() - half) / 2;
  return (values[middle] - values[half]) / static_cast<double>(middle - half);
}

double CExperiment::TSums::LastQuarter(std::size_t from) const {
  const std::size_t half = from + (Count() - from) / 2;
  const std::size_t middle = half + (Count() - half) / 2;
  return (values[Count()] - values[middle]) / static_cast<double>(Count() - middle);
}

std::optional<double> CExperiment::Follow(const THeard& heard) {
  isRecorded = phase != EPhase::kRest && phase != EPhase::kOver;
  ++periods;
  passed += heard.passed;
  values.Add(heard.value);
  outputs.Add(heard.output);
  switch (phase) {
    case EPhase::kRest:
      Rest(heard);
      break;
    case EPhase::kHold:
      Hold(heard);
      break;
    case EPhase::kActs:
      Act(heard);
      break;
    case EPhase::kReturn:
      if (++returned == kReturn) phase = EPhase::kOver;
      break;
    case EPhase::kOver:
      break;
  }
  before = heard.value;
  if (phase == EPhase::kHold || phase == EPhase::kActs) return base + level;
  if (phase == EPhase::kReturn && returned < kTracked) return base;
  return std::nullopt;
}

void CExperiment::Abort(const std::string& why) {
  if (phase != EPhase::kReturn && phase != EPhase::kOver) End(false, why);
}

// --- Rest and hold ---------------------------------------------------------------------

// Windows that grow with the time rest in slow loops and in quick ones.
bool CExperiment::IsAtRest() const {
  return values.Count() >= kLeastRest &&
         std::abs(outputs.LastQuarter(0) - outputs.ThirdQuarter(0)) <= kRestOfOutput * std::abs(plan.amplitude) &&
         std::abs(values.LastQuarter(0) - values.ThirdQuarter(0)) <= kRestOfValue * (plan.high - plan.low);
}

void CExperiment::Rest(const THeard& heard) {
  if (!heard.regulates) return BeginHold(heard.output);
  if (IsAtRest()) return BeginHold(outputs.LastQuarter(0));
  if (Elapsed() < plan.longest) return;
  phase = EPhase::kOver;
  ending = "the experiment didn't begin: the loop didn't come to rest within " + Quantity(plan.longest, "s") +
           ": wait until it has, or say --longest with more";
}

void CExperiment::BeginHold(double output) {
  base = output;
  phase = EPhase::kHold;
  periods = passed = 0;
  values = outputs = {};
  const double reach = std::abs(plan.amplitude);
  const bool below = plan.isRelay || plan.amplitude < 0.0;
  const bool above = plan.isRelay || plan.amplitude > 0.0;
  if ((!below || base - reach >= plan.outputLow) && (!above || base + reach <= plan.outputHigh)) return;
  phase = EPhase::kOver;
  ending = "the experiment didn't begin: the output is " + Quantity(base, plan.outputUnit) + ", and an amplitude of " +
           Quantity(reach, plan.outputUnit) + " leaves its range, " + Significant(plan.outputLow) + " to " +
           Significant(plan.outputHigh);
}

void CExperiment::Hold(const THeard& heard) {
  if (LeavesBound(heard.value) || periods < kHeld) return;
  const auto count = static_cast<double>(kHeld);
  const std::vector<double>& sums = values.values;
  centre = sums.back() / count;
  double squares = 0.0;
  for (std::size_t i = 1; i < sums.size(); ++i) {
    const double deviation = sums[i] - sums[i - 1] - centre;
    squares += deviation * deviation;
  }
  sigma = std::sqrt(squares / (count - 1.0));
  phase = EPhase::kActs;
  Step(plan.amplitude, centre, kRestOfValue * (plan.high - plan.low));
}

// --- Acting ------------------------------------------------------------------------------

// By where the next period would find it: the output changes then at the earliest.
bool CExperiment::LeavesBound(double value) {
  const double next = 2.0 * value - before.value_or(value);
  const bool above = std::max(value, next) >= plan.high;
  if (!above && std::min(value, next) > plan.low) return false;
  End(false, "before the bound: the value was " + Quantity(value, plan.valueUnit) + " and on its way to " +
                 Quantity(above ? plan.high : plan.low, plan.valueUnit));
  return true;
}

void CExperiment::Act(const THeard& heard) {
  if (LeavesBound(heard.value)) return;
  if (plan.isRelay) {
    ActByRelay(heard.value);
  } else {
    ActByStep();
  }
  if (phase != EPhase::kActs || Elapsed() < plan.longest) return;
  std::string how = "after the longest time, " + Quantity(plan.longest, "s");
  if (plan.isRelay) how += ", with " + Count(switchings / 2, "cycle");
  End(!plan.isRelay, how);
}

void CExperiment::ActByRelay(double value) {
  const double way = (level > 0.0) == plan.raises ? 1.0 : -1.0;  // in which the value goes
  if (way * (value - centre) > kHysteresis * sigma) {
    level = -level;
    ++switchings;
  }
  const bool enough = plan.rows == 0 ? switchings >= 2 * kCycles : periods >= plan.rows;
  if (enough) End(true, "after " + (plan.rows == 0 ? Count(kCycles, "cycle") : Count(plan.rows, "row")));
}

void CExperiment::Step(double to, double from, double answer) {
  level = to;
  start = from;
  leastAnswer = answer;
  since = values.Count();
}

// By windows that grow, against the answer that there is.
bool CExperiment::IsSteady() const {
  const std::size_t count = values.Count() - since;
  if (count < kLeastRest) return false;
  const double last = values.LastQuarter(since);
  const double noise = sigma * std::sqrt(8.0 / static_cast<double>(count));
  const double answer = std::abs(last - start);
  return answer > std::max(kAnswer * noise, leastAnswer) &&
         std::abs(last - values.ThirdQuarter(since)) <= std::max(kSteady * answer, noise);
}

void CExperiment::ActByStep() {
  const bool isSteady = IsSteady();
  if (level == 0.0) {
    if (isSteady) End(true, "with a steady value, behind the step and back");
  } else if (isSteady || Elapsed() >= plan.longest / 2.0) {
    const double reached = values.LastQuarter(since);
    Step(0.0, reached, std::abs(reached - centre) / 2.0);
  }
}

// --- The end -------------------------------------------------------------------------------

void CExperiment::End(bool whole, const std::string& how) {
  isWhole = whole;
  ending = "the experiment ended " + how;
  if (phase == EPhase::kRest) {
    phase = EPhase::kOver;
    return;
  }
  level = 0.0;
  phase = EPhase::kReturn;
  returned = 0;
}

}  // namespace workbench
