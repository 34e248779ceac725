#include "tuning/warm_start.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <tuple>

#include "runtime/numbers/elementary_functions.h"

namespace tuning {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
// The controller of variable keeps away from its own edge of stability.
constexpr double kLargestGamma = 0.9;

// The models that a candidate must hold for: the nominal one, and those that the best so far failed.
class CJudge {
 public:
  CJudge(std::vector<TModel> set, const TWarmOptions& given) : options(given), noiseGain(given.greatestNoiseGain) {
    const double sign = set.front().k < 0 ? -1 : 1;
    for (TModel& model : set) {
      model.k *= sign;
      model.kb *= sign;
      sampled.push_back(Sample(model, options.period));
      responses.emplace_back(sampled.back());
    }
    nominal = set.front();
    apparent = Apparent(nominal);
    integrates = !std::isfinite(apparent.lag);
    load = 1 / (apparent.gain * (integrates ? Late() : 1));
  }

  const TModel& Nominal() const { return nominal; }
  // Of the process with its hold, s: what comes late, and what lags.
  double Late() const { return apparent.deadTime + options.period / 2; }
  double Lag() const { return integrates ? 4 * Late() : apparent.lag; }
  // The change of the value after that lag for an input of 1.
  double Gain() const { return apparent.gain * (integrates ? Lag() : 1); }
  double Ms(const TSampledLaw& law) const { return responses.front().Sensitivity(law); }
  bool Holds(const TSampledLaw& law) const {
    if (!(Ms(law) <= options.nominalMs)) return false;
    if (std::isfinite(noiseGain) && !(NoiseGain(law, sampled.front()) <= noiseGain)) return false;
    return std::all_of(binding.begin(), binding.end(), [&](std::size_t i) { return HoldsFor(law, i); });
  }
  double CostOf(const TSampledLaw& law) const { return Cost(law, sampled.front(), load).Sum(); }
  // The models of the set that the law fails are asked from now on. False: there are such.
  bool HoldsForAll(const TSampledLaw& law) {
    const std::size_t before = binding.size();
    for (std::size_t i = 1; i < responses.size(); ++i) {
      if (!HoldsFor(law, i)) binding.push_back(i);
    }
    return binding.size() == before;
  }
  // False: any is allowed already.
  bool AllowMoreNoise() {
    constexpr double kAny = 1000;  // times what is wanted
    if (std::isinf(noiseGain)) return false;
    noiseGain *= 2;
    if (!(noiseGain < kAny * options.greatestNoiseGain)) noiseGain = kInfinite;
    return true;
  }

 private:
  bool HoldsFor(const TSampledLaw& law, std::size_t i) const {
    return responses[i].Sensitivity(law) <= options.worstMs;
  }

  const TWarmOptions& options;
  double noiseGain;
  TModel nominal;
  TApparent apparent;
  bool integrates = false;
  double load = 0;
  std::vector<TSampledModel> sampled;
  std::vector<CFrequencyResponse> responses;
  std::vector<std::size_t> binding;
};

struct TCandidate {
  TWarmStart start;
  double cost = kInfinite;
};

// As definitions and scripts are given it.
std::string Written(double value) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 4).ptr;
  return {text.data(), end};
}

double Rounded(double value) {
  const std::string text = Written(value);
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// values from ... to, each the same multiple of the one before.
std::vector<double> Geometric(double from, double to, int count) {
  std::vector<double> values;
  values.reserve(static_cast<std::size_t>(count));
  const double step = elementary::Ln(to / from) / (count - 1);
  for (int i = 0; i < count; ++i) values.push_back(from * elementary::Exp(i * step));
  return values;
}

// --- r0, tI, tD ---------------------------------------------------------------------

TController ControllerOf(const TWarmOptions& options, double r0, double tI) {
  const double tK = 2 * tI + options.period;
  const double tD = tK * tK / (8 * (tK - options.period));
  return {*options.law, r0, tI, tD, options.lag, options.period};
}

// For each tI the boldest r0 that holds, and of these what costs least.
TCandidate BestParameters(const CJudge& judge, const TWarmOptions& options) {
  constexpr double kSlowest = 5;  // tI over the process' times
  constexpr double kBoldest = 10;
  constexpr int kIntegrations = 40;
  constexpr int kGains = 40;
  constexpr int kHalvings = 6;
  const double times = judge.Lag() + judge.Late();
  const double boldest = kBoldest * times / (judge.Gain() * judge.Late());
  const std::vector<double> gains = Geometric(boldest, boldest * 1e-5, kGains);
  const double shortest = 0.51 * options.period;
  TCandidate best;
  for (const double tI : Geometric(shortest, std::max(kSlowest * times, 2 * shortest), kIntegrations)) {
    const auto holds = [&](double r0) { return judge.Holds(Sample(ControllerOf(options, r0, tI))); };
    const auto first = std::find_if(gains.begin(), gains.end(), holds);
    if (first == gains.end()) continue;
    double r0 = *first;
    double above = first == gains.begin() ? r0 : *(first - 1);
    for (int i = 0; i < kHalvings; ++i) {
      const double middle = std::sqrt(r0 * above);
      (holds(middle) ? r0 : above) = middle;
    }
    const TController controller = ControllerOf(options, r0, tI);
    const double cost = judge.CostOf(Sample(controller));
    if (cost < best.cost) best = {{.law = options.law, .controller = controller}, cost};
  }
  return best;
}

// a1 and a2 are the process' two slowest poles; nothing depends on them until something is learnt.
void SetModel(const TModel& process, TWarmStart* start) {
  const TController& c = start->controller;
  const std::vector<double> poles =
      Sample(TModel{.k = process.k, .tau = process.tau, .eps = process.eps}, c.period).denominator;
  start->a1 = poles[1];
  start->a2 = poles.size() > 2 ? poles[2] : 0;
  const double tK = 2 * c.tI + c.period;
  const double kC = c.r0 / (0.6 * (1 - c.period / tK));
  start->b2 = (1 - start->a2) / kC;
  start->b1 = (-2 * elementary::Cos(2 * std::numbers::pi * c.period / tK) - start->a1) / kC;
}

// --- variable -----------------------------------------------------------------------

// The model with the poles p1 and p2, by their sum and product, that has the process' gain and mean delay, or one
// that is longer. Of an integrating process p1 = 1.
TWarmStart ModelOfPoles(const TModel& process, double h, double sum, double product, double later) {
  TWarmStart start;
  start.a1 = -sum;
  start.a2 = product;
  const double behind = (process.L + process.T3 - process.kb / process.k) / h + later;
  const double rest = process.eps > 0 ? 1 + start.a1 + start.a2 : 1 - product;
  const double zero = process.eps > 0 ? behind + 1 / (process.eps * h) - 0.5 + (start.a1 + 2 * start.a2) / rest
                                      : behind + process.tau / h - product / rest;
  const double gain = process.k * rest * (process.eps > 0 ? 1 / process.eps : h);
  start.b1 = gain * (1 - zero);
  start.b2 = gain * zero;
  return start;
}

TCandidate BestPlacement(const CJudge& judge, const TWarmOptions& options) {
  constexpr double kShares[] = {0.02, 0.05, 0.1, 0.2, 0.35, 0.5, 0.7, 1};  // of the second lag in the first
  constexpr double kLater[] = {0, 0.25, 0.5};                              // periods that the model is more careful
  constexpr double kLeastPole = 1e-6;                                      // none of 0: variable divides by a2
  constexpr int kFrequencies = 40;
  const TModel& process = judge.Nominal();
  const double h = options.period;
  std::vector<std::pair<double, double>> poles;  // their sum and product
  if (4 * process.tau * process.eps > 1) {
    const std::vector<double> pair = Sample(TModel{.k = 1, .tau = process.tau, .eps = process.eps}, h).denominator;
    poles.emplace_back(-pair[1], pair[2]);
  }
  for (const double share : kShares) {
    const double slow = process.eps > 0 ? std::max(elementary::Exp(-h / judge.Lag()), kLeastPole) : 1;
    const double fast = std::max(elementary::Exp(-h / (share * judge.Lag())), kLeastPole);
    poles.emplace_back(slow + fast, slow * fast);
  }
  const double times = judge.Lag() + judge.Late();
  TCandidate best;
  for (const auto& [sum, product] : poles) {
    for (const double later : kLater) {
      TWarmStart start = ModelOfPoles(process, h, sum, product, later);
      for (const double omega : Geometric(0.02 / times, 20 / times, kFrequencies)) {
        start.omega = Rounded(omega);
        const TSampledLaw law = Sample(start, h);
        if (!(std::abs(law.rest) <= kLargestGamma) || !judge.Holds(law)) continue;
        const double cost = judge.CostOf(law);
        if (cost < best.cost) best = {start, cost};
      }
    }
  }
  return best;
}

void Append(std::uint64_t word, int size, std::string* bytes) {
  for (int i = 0; i < size; ++i) *bytes += static_cast<char>(word >> (8 * i) & 0xFF);
}

std::uint64_t LawCode(std::optional<ELaw> law) {
  if (!law) return 5;
  switch (*law) {
    case ELaw::kClassical:
      return 1;
    case ELaw::kTakahashi:
      return 2;
    case ELaw::kClassicalDelay:
      return 3;
    default:
      return 4;
  }
}

}  // namespace

// (1 + a1 q + a2 q^2)(1 - q)(1 + gamma q) + (b1 q + b2 q^2)(q0 + q1 q + q2 q^2) = 1 + d1 q + d2 q^2, the right side
// having the poles of s^2 + 2 ksi omega s + omega^2, ksi = 1; the same u for w and y in steady state (Bobal, Boehm,
// Fessl, Machacek, Digital Self-tuning Controllers, 2005, ch. 4).
TSampledLaw Sample(const TWarmStart& start, double period) {
  const double x = start.omega * period;
  const double d1 = -2 * elementary::Exp(-x);
  const double d2 = elementary::Exp(-2 * x);
  const auto [a1, a2, b1, b2] = std::tuple(start.a1, start.a2, start.b1, start.b2);
  const double m = a1 * b2 - a2 * b1;
  const double q2 = a2 * ((b1 * d2 - b2 * d1 - b2) * b2 + m * (b1 + b2)) / ((b1 * m - b2 * b2) * (b1 + b2));
  const double gamma = q2 * b2 / a2;
  const double q1 = a2 / b2 - q2 * (b1 / b2 - a1 / a2 + 1);
  const double q0 = (d1 + 1 - a1 - gamma) / b1;
  return {-gamma, {1, gamma - 1, -gamma}, {q0 + q1 + q2}, {q0, q1, q2}};
}

std::optional<TWarmStart> WarmStart(const std::vector<TModel>& set, const TWarmOptions& options) {
  CJudge judge(set, options);
  for (;;) {
    TCandidate best = options.law ? BestParameters(judge, options) : BestPlacement(judge, options);
    if (std::isinf(best.cost)) {
      if (judge.AllowMoreNoise()) continue;
      return std::nullopt;
    }
    const TSampledLaw law = options.law ? Sample(best.start.controller) : Sample(best.start, options.period);
    if (!judge.HoldsForAll(law)) continue;
    if (options.law) SetModel(judge.Nominal(), &best.start);
    best.start.ms = judge.Ms(law);
    return best.start;
  }
}

std::string ParameterFile(const TWarmStart& start) {
  constexpr double kForgetting = 0.5;  // as a regulator begins with
  constexpr double kRho = 1;
  std::string bytes;
  Append(LawCode(start.law), 4, &bytes);
  for (const double real : {0.0, -start.a1, start.b1, -start.a2, start.b2, kForgetting, kRho}) {
    Append(std::bit_cast<std::uint64_t>(real), 8, &bytes);
  }
  return bytes;
}

std::string WarmParameters(const TWarmStart& start, const std::string& file) {
  std::string text = "adaptive = true; file_name = \"" + file + "\"; regulator_type = ";
  if (start.law) return text.append(LawName(*start.law)) + ";";
  return text + "variable; param_1 = 1; param_2 = " + Written(start.omega) + ";";
}

std::string WarmScript(const TWarmStart& start, const std::string& instrument) {
  if (!start.law) return {};
  return "every(" + Written(start.controller.period) + ", function() " + instrument + ":StopIdentification() end)";
}

}  // namespace tuning
