#include "bench/tuning/records.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "runtime/numbers/random.h"

namespace batch {
namespace {

constexpr int kRestRows = 20;      // before an experiment acts
constexpr double kInputRest = 50;  // what input and value are at rest
constexpr double kValueRest = 40;
constexpr double kHysteresis = 2.0;  // of a relay, in deviations of the noise

// The sampled process as rows go by.
class CPlant {
 public:
  explicit CPlant(tuning::TSampledModel sampled) : model(std::move(sampled)) {}

  // The value at this row; what acts from it until the next is told afterwards by Act.
  double Value() {
    const std::size_t j = values.size();
    double value = 0;
    for (std::size_t i = 0; i < model.numerator.size(); ++i) {
      const std::size_t back = static_cast<std::size_t>(model.delay) + 1 + i;
      if (back <= j) value += model.numerator[i] * inputs[j - back];
    }
    for (std::size_t i = 1; i < model.denominator.size() && i <= j; ++i) value -= model.denominator[i] * values[j - i];
    values.push_back(value);
    return value;
  }
  void Act(double input) { inputs.push_back(input); }

 private:
  tuning::TSampledModel model;
  std::vector<double> inputs;
  std::vector<double> values;
};

class CRelay {
 public:
  explicit CRelay(double either) : hysteresis(either) {}
  double Next(double value) {
    if (value > hysteresis) direction = -1;
    if (value < -hysteresis) direction = 1;
    return direction;
  }

 private:
  double hysteresis;
  double direction = 1;
};

// The valve stands until the input leaves a band about it, and then follows at its edge.
class CValve {
 public:
  explicit CValve(double band) : half(band / 2) {}
  double Next(double input) { return at = std::clamp(at, input - half, input + half); }

 private:
  double half;
  double at = 0;
};

double PeriodOf(const TProcess& process, const TExperiment& experiment) {
  return experiment.period > 0 ? experiment.period : process.Period();
}

int StepRows(const TProcess& process, const TExperiment& experiment) {
  const double settling =
      process.integrating ? HUGE_VAL : (process.theta + 5 * process.T) / PeriodOf(process, experiment);
  return kRestRows + static_cast<int>(std::clamp(settling, 200.0, std::max(200.0, experiment.rows - 1.0 * kRestRows)));
}

}  // namespace

std::string_view Name(EFault fault) {
  constexpr std::string_view kNames[] = {"none",     "load step", "not at rest",    "drift",       "cut short",
                                         "constant", "quantised", "sticking valve", "hidden limit"};
  return kNames[static_cast<std::size_t>(fault)];
}

double Span(const TProcess& process, const TExperiment& experiment) {
  TExperiment clean = experiment;
  clean.noise = 0;
  clean.fault = EFault::kNone;
  clean.rows = std::max(clean.rows, 800);
  const tuning::TRecord record = Record(process, clean);
  if (experiment.experiment == EExperiment::kStep) return std::abs(record.output.back() - kValueRest);
  const auto half = record.output.begin() + std::ssize(record.output) / 2;
  const auto [low, high] = std::minmax_element(half, record.output.end());
  return *high - *low;
}

tuning::TRecord Record(const TProcess& process, const TExperiment& experiment) {
  const EFault fault = experiment.fault;
  const bool relay = experiment.experiment == EExperiment::kRelay;
  const double period = PeriodOf(process, experiment);
  const double sigma = experiment.noise > 0 ? experiment.noise * Span(process, experiment) : 0;
  const double span = fault == EFault::kDrift || fault == EFault::kQuantised ? Span(process, experiment) : 0;
  runtime::CRandom random(experiment.seed);

  int rows = relay ? experiment.rows : StepRows(process, experiment);
  if (fault == EFault::kCutShort && !relay) {
    rows = kRestRows + static_cast<int>((process.theta + process.T / 3) / period) + 2;
  }
  // Before the record: at rest, or with the process still on its way back from another input.
  const int earlier = fault == EFault::kNotAtRest
                          ? static_cast<int>(2 * (process.theta + std::min(process.T, 10 * process.theta)) / period)
                          : 0;
  const int loadAt = static_cast<int>((1 + random.Uniform()) / 3 * rows);

  CPlant plant(Sample(process, period));
  CRelay switching(kHysteresis * sigma);
  CValve valve(fault == EFault::kStickingValve ? 0.2 * experiment.amplitude : 0);
  tuning::TRecord record;
  record.period = period;
  double noise = 0;
  int cycles = 0;
  double lastDirection = 1;
  for (int row = -earlier; row < rows; ++row) {
    noise = experiment.colour * noise + std::sqrt(1 - experiment.colour * experiment.colour) * random.Normal();
    double value = plant.Value() + sigma * noise;
    if (fault == EFault::kDrift) value += 0.2 * span * row / rows;
    if (fault == EFault::kQuantised) value = std::round(value / (0.1 * span)) * 0.1 * span;
    double input = 0;
    if (row < 0) {
      input = -experiment.amplitude;
    } else if (row >= kRestRows && fault != EFault::kConstant) {
      const double direction = relay ? switching.Next(value) : 1;
      if (direction > lastDirection) ++cycles;
      lastDirection = direction;
      input = std::min(direction * experiment.amplitude, experiment.highest);
    }
    double acting = valve.Next(input);
    if (fault == EFault::kHiddenLimit) acting = std::min(acting, experiment.amplitude / 2);
    if (fault == EFault::kLoadStep && row >= loadAt) acting += 0.4 * experiment.amplitude;
    plant.Act(acting);
    if (row < 0) continue;
    record.input.push_back(kInputRest + input);
    record.output.push_back(kValueRest + value);
    record.used.push_back(1);
    if (fault == EFault::kCutShort && relay && cycles == 2) break;
  }
  return record;
}

}  // namespace batch
