#include "runtime/simulation/process.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "runtime/expressions/machine.h"

namespace runtime {
namespace {

constexpr std::uint64_t kPeriodsInFull = 1000;
constexpr std::string_view kDelayLost = "Zpoždění přesahuje paměť";

}  // namespace

void CDelay::Record(double time, double value, bool replaces) {
  if (replaces && !IsEmpty()) {
    ++oldest;
    hasDropped = true;
  }
  if (records.size() == records.capacity() && oldest > records.size() / 4) {
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(oldest));
    oldest = 0;
  }
  records.push_back({time, value});
}

std::size_t CDelay::CountOf(double time, double seconds, double substep) const {
  constexpr double kForgiven = 1e-9;  // of a substep
  constexpr double kRounding = 4.0 * std::numeric_limits<double>::epsilon();
  const double latest = time - seconds + (kForgiven * substep + kRounding * std::fabs(time));
  const auto isLater = [](double limit, const TRecord& record) { return limit < record.time; };
  const auto first = records.begin() + static_cast<std::ptrdiff_t>(oldest);
  return static_cast<std::size_t>(std::upper_bound(first, records.end(), latest, isLater) - first);
}

double CDelay::Find(double time, double seconds, double substep, bool* isLost) const {
  const std::size_t count = CountOf(time, seconds, substep);
  *isLost = count == 0 && hasDropped;
  return records[oldest + (count == 0 ? 0 : count - 1)].value;
}

void CDelay::Trim(double time, double seconds, double substep) {
  const std::size_t count = CountOf(time, seconds, substep);
  if (count > 1) oldest += count - 1;
}

void CDelay::Clear() {
  records.clear();
  oldest = 0;
  hasDropped = false;
}

void CProcess::Start(std::uint64_t seed, TErrorSink errorSink) {
  random = CRandom(seed);
  sink = std::move(errorSink);
  const auto clear = [](TFormula& formula) { formula.failed = formula.failedBefore = false; };
  for (TAlgebraic& line : algebraic) {
    clear(line.formula);
    clear(line.seconds);
    line.delay.Clear();
  }
  for (TDerivative& line : derivatives) clear(line.formula);
  delayRecords = 0;
  DrawNoise();
  FinishPeriod(0);
}

bool CProcess::Writes(const void* value) const {
  return Computes(value) || std::any_of(derivatives.begin(), derivatives.end(),
                                        [&](const TDerivative& line) { return line.target == value; });
}

void CProcess::LeaveTo(const void* value) {
  for (std::size_t i = algebraic.size(); i-- > 0;) {
    if (algebraic[i].target != value) continue;
    delayRecords -= algebraic[i].delay.Count();
    algebraic.erase(algebraic.begin() + static_cast<std::ptrdiff_t>(i));
    written.erase(written.begin() + static_cast<std::ptrdiff_t>(i));
  }
  std::erase_if(derivatives, [&](const TDerivative& line) { return line.target == value; });
}

// With h the substep's length, substep i starts at from + i h. Algebraic lines
// stand at the time of each evaluation, so y' = f(t, y) sees them as functions
// of t and y.
void CProcess::Advance(double from, double to, std::uint64_t periods) {
  DrawNoise();
  const auto steps = static_cast<std::uint32_t>(substeps * std::min(periods, kPeriodsInFull));
  substepLength = (to - from) / steps;
  double start = from;
  for (std::uint32_t i = 1; i <= steps && !IsEmpty(); ++i) {
    const double end = i == steps ? to : from + i * substepLength;
    Substep(start, end);
    start = end;
  }
  FinishPeriod(to);
}

// k1 = f(t, y)              k2 = f(t + h/2, y + h/2 k1)
// k3 = f(t + h/2, y + h/2 k2)   k4 = f(t + h, y + h k3)
// y(t + h) = y + h/6 (k1 + 2 k2 + 2 k3 + k4)
void CProcess::Substep(double from, double to) {
  const double h = substepLength;
  const double middle = from + h / 2;
  const struct {
    double time;
    double weight;  // of k in the sum
    double reach;   // from y along k to where the next stage stands
  } stages[] = {{from, 1, h / 2}, {middle, 2, h / 2}, {middle, 2, h}, {to, 1, 0}};

  for (TDerivative& line : derivatives) {
    line.start = *line.target;
    line.sum = 0;
  }
  for (const auto& stage : stages) {
    EvaluateAlgebraic(stage.time, &stage == stages);
    for (TDerivative& line : derivatives) line.slope = Value(line.formula);
    for (TDerivative& line : derivatives) {
      line.sum = line.sum + stage.weight * line.slope;
      *line.target = line.start + stage.reach * line.slope;
    }
  }
  for (TDerivative& line : derivatives) {
    const double next = line.start + h / 6 * line.sum;
    *line.target = std::isfinite(next) ? next : line.start;
    if (!std::isfinite(next)) {
      Report(line.formula, line.formula.expression->mark, EvalMessage(EEvalStatus::kNotFinite));
    }
  }
}

void CProcess::EvaluateAlgebraic(double time, bool records) {
  expressions.Time() = time;
  for (TAlgebraic& line : algebraic) {
    const double value = line.seconds.expression ? DelayedValue(line, time, records) : Value(line.formula);
    line.Put(value);
  }
}

double CProcess::DelayedValue(TAlgebraic& line, double time, bool records) {
  const std::size_t countBefore = line.delay.Count();
  if (records) line.delay.Record(time, Value(line.formula), delayRecords >= maximumDelayRecords);
  if (line.delay.IsEmpty()) return Value(line.formula);
  const double seconds = std::max(Value(line.seconds), 0.0);
  bool isLost;
  const double value = line.delay.Find(time, seconds, substepLength, &isLost);
  if (isLost) Report(line.seconds, line.seconds.expression->mark, kDelayLost);
  if (records && line.seconds.expression->isConstant) line.delay.Trim(time, seconds, substepLength);
  delayRecords += line.delay.Count() - countBefore;  // modulo 2^64 when there are fewer now
  return value;
}

void CProcess::DrawNoise() {
  for (double& draw : noise) draw = random.Normal();
}

double CProcess::Value(TFormula& formula) {
  const TEvaluation evaluation = Evaluate(formula.expression.get());
  if (evaluation.status != EEvalStatus::kOk) Report(formula, evaluation.mark, EvalMessage(evaluation.status));
  return evaluation.value;
}

void CProcess::Report(TFormula& formula, std::uint32_t mark, std::string_view message) {
  const bool isKnown = (formula.failed || formula.failedBefore) && formula.failedMark == mark;
  formula.failed = true;
  formula.failedMark = mark;
  if (!isKnown && sink) sink(mark, std::string(message));
}

void CProcess::FinishPeriod(double time) {
  EvaluateAlgebraic(time, false);
  const auto shift = [](TFormula& formula) {
    formula.failedBefore = formula.failed;
    formula.failed = false;
  };
  for (TAlgebraic& line : algebraic) {
    shift(line.formula);
    shift(line.seconds);
  }
  for (TDerivative& line : derivatives) shift(line.formula);
}

}  // namespace runtime
