#include "runtime/simulation/process_probe.h"

#include <algorithm>
#include <cmath>

#include "runtime/expressions/machine.h"

namespace runtime {
namespace {

constexpr double kShare = 1e-6;  // of a state's magnitude, by which it is moved

// Of finite numbers, which all are that expressions yield.
double Norm(const std::vector<double>& numbers) {
  double norm = 0;
  for (const double number : numbers) norm = std::max(norm, std::fabs(number));
  return norm;
}

}  // namespace

CProcessProbe::CProcessProbe(CProcess& probed) : process(probed) {
  for (const CProcess::TAlgebraic& line : process.algebraic) kept.push_back(line.Get());
  for (const CProcess::TDerivative& line : process.derivatives) kept.push_back(*line.target);
  ForEachFormula([this](hx_expr::TExprTreeRecord& expression) {
    kept.push_back(expression.lastGood);
    keptMarks.push_back(expression.failedMark);
  });
}

CProcessProbe::~CProcessProbe() {
  auto next = kept.begin();
  auto mark = keptMarks.begin();
  for (CProcess::TAlgebraic& line : process.algebraic) line.Put(*next++);
  for (CProcess::TDerivative& line : process.derivatives) *line.target = *next++;
  ForEachFormula([&](hx_expr::TExprTreeRecord& expression) {
    expression.lastGood = *next++;
    expression.failedMark = *mark++;
  });
}

template <typename TUse>
void CProcessProbe::ForEachFormula(TUse use) {
  for (CProcess::TAlgebraic& line : process.algebraic) {
    use(*line.formula.expression);
    if (line.seconds.expression) use(*line.seconds.expression);
  }
  for (CProcess::TDerivative& line : process.derivatives) use(*line.formula.expression);
}

CProcessProbe::TNumbers CProcessProbe::State() const {
  TNumbers state;
  for (const CProcess::TDerivative& line : process.derivatives) state.push_back(*line.target);
  return state;
}

void CProcessProbe::EvaluateLines(bool delaysPass) {
  for (CProcess::TAlgebraic& line : process.algebraic) {
    if (delaysPass || !line.seconds.expression) line.Put(Evaluate(line.formula.expression.get()).value);
  }
}

void CProcessProbe::Slopes(const TNumbers& state, bool delaysPass, TNumbers* slopes) {
  for (std::size_t i = 0; i < state.size(); ++i) *process.derivatives[i].target = state[i];
  EvaluateLines(delaysPass);
  slopes->clear();
  for (CProcess::TDerivative& line : process.derivatives) {
    slopes->push_back(Evaluate(line.formula.expression.get()).value);
  }
}

// The power method on J = df/dy, by differences, in units of the states themselves:
//   w = (f(y + e s v) - f(y)) / (e s),   rate = |w|,   v = w / |w|
// The rate is the mean of the last turns, geometric, since that of an oscillating
// pair goes up and down. (von Mises, Pollaczek-Geiringer, 1929.)
std::optional<CProcessProbe::TRate> CProcessProbe::FastestRate() {
  constexpr int kTurns = 16;
  constexpr int kMeant = 8;                       // the last ones
  constexpr double kGolden = 0.6180339887498949;  // spreads the first direction over all
  constexpr double kLinear = 0.1;                 // by which half a move may differ from half its answer
  const TNumbers state = State();
  if (state.empty()) return std::nullopt;
  TNumbers base;
  TNumbers slopes;
  TNumbers moved = state;
  TNumbers direction(state.size());
  for (std::size_t i = 0; i < state.size(); ++i) {
    const double spread = static_cast<double>(i + 1) * kGolden;
    direction[i] = spread - std::floor(spread) - 0.5;
  }
  const auto scale = [&](std::size_t i) { return state[i] == 0 ? kShare : kShare * std::fabs(state[i]); };
  const auto answer = [&](double share) {
    for (std::size_t i = 0; i < state.size(); ++i) moved[i] = state[i] + share * scale(i) * direction[i];
    Slopes(moved, false, &slopes);
    for (std::size_t i = 0; i < state.size(); ++i) slopes[i] = (slopes[i] - base[i]) / (share * scale(i));
    return Norm(slopes);
  };
  Slopes(state, false, &base);
  double sum = 0;  // of logarithms
  for (int turn = 0; turn < kTurns; ++turn) {
    const double rate = answer(1);
    if (rate == 0 || !std::isfinite(rate)) return std::nullopt;
    if (turn >= kTurns - kMeant) sum += std::log(rate);
    for (std::size_t i = 0; i < state.size(); ++i) direction[i] = slopes[i] / rate;
  }
  const double whole = answer(1);
  const double half = answer(0.5);
  if (!(std::fabs(whole - half) <= kLinear * whole)) return std::nullopt;
  const auto larger = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
  const auto most = std::max_element(direction.begin(), direction.end(), larger) - direction.begin();
  return TRate{std::exp(sum / kMeant), process.derivatives[static_cast<std::size_t>(most)].formula.expression->mark};
}

void CProcessProbe::Step(double h, TNumbers* state) {
  const struct {
    double weight;
    double reach;
  } stages[] = {{1, h / 2}, {2, h / 2}, {2, h}, {1, 0}};
  TNumbers stage = *state;
  TNumbers sum(state->size());
  TNumbers slopes;
  for (const auto& [weight, reach] : stages) {
    Slopes(stage, true, &slopes);
    for (std::size_t i = 0; i < sum.size(); ++i) {
      sum[i] += weight * slopes[i];
      stage[i] = (*state)[i] + reach * slopes[i];
    }
  }
  for (std::size_t i = 0; i < sum.size(); ++i) (*state)[i] += h / 6 * sum[i];
}

int CProcessProbe::Direction(double* input, const double* value, double change, const THorizon& horizon) {
  constexpr std::uint64_t kMostSteps = 20'000;
  constexpr double kRounding = 1e-9;  // of the value: less is no answer
  const std::uint64_t steps = std::min(horizon.work / WorkOfStep(process), kMostSteps);
  const std::optional<TRate> fastest = FastestRate();
  double h = std::max(horizon.step, horizon.seconds / static_cast<double>(steps));
  if (fastest) h = std::min(h, 1 / fastest->rate);
  const double before = *input;
  TNumbers left = State();
  TNumbers changed = left;
  bool isUp = false;
  bool isDown = false;
  for (std::uint64_t i = 1; i <= steps && static_cast<double>(i) * h <= horizon.seconds && !(isUp && isDown); ++i) {
    const auto advanced = [&](TNumbers& state, double held) {
      *input = held;
      Step(h, &state);
      for (std::size_t k = 0; k < state.size(); ++k) *process.derivatives[k].target = state[k];
      EvaluateLines(true);
      return *value;
    };
    const double plain = advanced(left, before);
    const double answered = advanced(changed, before + change);
    const double difference = answered - plain;
    if (!std::isfinite(difference)) break;
    if (std::fabs(difference) <= kRounding * (std::fabs(plain) + std::fabs(answered))) continue;
    ((difference > 0) == (change > 0) ? isUp : isDown) = true;
  }
  *input = before;
  return isUp == isDown ? 0 : isUp ? 1 : -1;
}

}  // namespace runtime
