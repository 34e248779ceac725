#include "study/sampling.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

#include "runtime/numbers/elementary_functions.h"

namespace study {
namespace {

constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15u;  // 2^64 by the golden ratio
constexpr std::uint64_t kRounds = 8;

// splitmix64 (Steele, Lea and Flood: Fast splittable pseudorandom number generators,
// 2014), as a function of its state.
constexpr std::uint64_t Mixed(std::uint64_t state) {
  state += kGolden;
  state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9u;
  state = (state ^ (state >> 27)) * 0x94D049BB133111EBu;
  return state ^ (state >> 31);
}

constexpr std::uint64_t Mixed(std::uint64_t seed, std::uint64_t stream, std::uint64_t number) {
  return Mixed(Mixed(Mixed(seed) ^ stream) ^ number);
}

// What is drawn for, apart from one another.
enum : std::uint64_t { kSeedStream, kFirstInputStream };
std::uint64_t StreamOf(std::size_t input, bool permutes) { return kFirstInputStream + 2 * input + (permutes ? 1 : 0); }

// In (0, 1), never an end.
double Unit(std::uint64_t mixed) { return (static_cast<double>(mixed >> 12) + 0.5) * 0x1p-52; }

bool IsList(const TInput& input) { return input.distribution == EDistribution::kList; }

// Of a grid's inputs; empty: the lists alone are too many.
std::vector<std::uint64_t> LevelsOf(const TDefinition& definition) {
  std::uint64_t lists = 1;
  std::size_t others = 0;
  const std::uint64_t most = definition.runs == 0 ? 100'000'000 : definition.runs;
  for (const TInput& input : definition.inputs) {
    if (!IsList(input)) ++others;
    if (IsList(input)) lists *= input.list.size();
    if (lists > most) return {};
  }
  // The most whose power still fits.
  std::uint64_t each = 1;
  const auto fits = [&](std::uint64_t wanted) {
    std::uint64_t product = lists;
    for (std::size_t i = 0; i < others; ++i) {
      if (product > most / wanted) return false;
      product *= wanted;
    }
    return true;
  };
  while (others > 0 && fits(each + 1)) ++each;
  std::vector<std::uint64_t> levels;
  for (const TInput& input : definition.inputs) levels.push_back(IsList(input) ? input.list.size() : each);
  return levels;
}

template <std::size_t count>
double Polynomial(const double (&coefficients)[count], double x) {
  double sum = coefficients[count - 1];
  for (std::size_t i = count - 1; i-- > 0;) sum = sum * x + coefficients[i];
  return sum;
}

}  // namespace

std::string NumberText(double number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof(text), number).ptr};
}

double NormalQuantile(double u) {
  static constexpr double kMiddleAbove[] = {
      3.3871328727963666080e0,  1.3314166789178437745e+2, 1.9715909503065514427e+3, 1.3731693765509461125e+4,
      4.5921953931549871457e+4, 6.7265770927008700853e+4, 3.3430575583588128105e+4, 2.5090809287301226727e+3};
  static constexpr double kMiddleBelow[] = {1.0,
                                            4.2313330701600911252e+1,
                                            6.8718700749205790830e+2,
                                            5.3941960214247511077e+3,
                                            2.1213794301586595867e+4,
                                            3.9307895800092710610e+4,
                                            2.8729085735721942674e+4,
                                            5.2264952788528545610e+3};
  static constexpr double kNearAbove[] = {
      1.42343711074968357734e0, 4.63033784615654529590e0,  5.76949722146069140550e0,  3.64784832476320460504e0,
      1.27045825245236838258e0, 2.41780725177450611770e-1, 2.27238449892691845833e-2, 7.74545014278341407640e-4};
  static constexpr double kNearBelow[] = {1.0,
                                          2.05319162663775882187e0,
                                          1.67638483018380384940e0,
                                          6.89767334985100004550e-1,
                                          1.48103976427480074590e-1,
                                          1.51986665636164571966e-2,
                                          5.47593808499534494600e-4,
                                          1.05075007164441684324e-9};
  static constexpr double kFarAbove[] = {
      6.65790464350110377720e0,  5.46378491116411436990e0,  1.78482653991729133580e0,  2.96560571828504891230e-1,
      2.65321895265761230930e-2, 1.24266094738807843860e-3, 2.71155556874348757815e-5, 2.01033439929228813265e-7};
  static constexpr double kFarBelow[] = {1.0,
                                         5.99832206555887937690e-1,
                                         1.36929880922735805310e-1,
                                         1.48753612908506148525e-2,
                                         7.86869131145613259100e-4,
                                         1.84631831751005468180e-5,
                                         1.42151175831644588870e-7,
                                         2.04426310338993978564e-15};
  const double fromMiddle = u - 0.5;
  if (std::fabs(fromMiddle) <= 0.425) {
    const double r = 0.180625 - fromMiddle * fromMiddle;
    return fromMiddle * Polynomial(kMiddleAbove, r) / Polynomial(kMiddleBelow, r);
  }
  const double r = std::sqrt(-elementary::Ln(fromMiddle < 0.0 ? u : 1.0 - u));
  const double size = r <= 5.0 ? Polynomial(kNearAbove, r - 1.6) / Polynomial(kNearBelow, r - 1.6)
                               : Polynomial(kFarAbove, r - 5.0) / Polynomial(kFarBelow, r - 5.0);
  return fromMiddle < 0.0 ? -size : size;
}

std::string ProblemOfRuns(const TDefinition& definition) {
  const bool isGrid = definition.sampling == ESampling::kGrid;
  const bool isOfLists = std::all_of(definition.inputs.begin(), definition.inputs.end(), IsList);
  if (definition.runs == 0 && !(isGrid && isOfLists)) return "expected runs = …: how many there are";
  if (isGrid && LevelsOf(definition).empty()) return "the lists alone have more combinations than there are runs";
  return "";
}

CSampling::CSampling(const TDefinition& theDefinition) : definition(theDefinition), count(definition.runs) {
  if (definition.sampling != ESampling::kGrid) return;
  levels = LevelsOf(definition);
  count = 1;
  for (const std::uint64_t of : levels) count *= of;
}

std::uint64_t CSampling::SeedOf(std::uint64_t number) const {
  return Mixed(definition.seed, kSeedStream, number) >> 11;
}

// A Feistel network on the next larger power of four, walked until the number is one
// of the runs' (Black and Rogaway: Ciphers with arbitrary finite domains, 2002).
std::uint64_t CSampling::Permuted(std::uint64_t number, std::size_t input) const {
  const auto half = std::max<std::uint64_t>(1, (std::bit_width(count - 1) + 1) / 2);
  const std::uint64_t mask = (std::uint64_t{1} << half) - 1;
  const std::uint64_t key = Mixed(Mixed(definition.seed) ^ StreamOf(input, true));
  do {
    std::uint64_t left = number >> half;
    std::uint64_t right = number & mask;
    for (std::uint64_t round = 0; round < kRounds; ++round) {
      const std::uint64_t next = left ^ ((Mixed(key ^ (round << 56) ^ right) >> 32) & mask);
      left = right;
      right = next;
    }
    number = (left << half) | right;
  } while (number >= count);
  return number;
}

double CSampling::ProbabilityOf(std::uint64_t number, std::size_t input) const {
  if (definition.sampling == ESampling::kGrid) {
    std::uint64_t rest = number;
    for (std::size_t later = levels.size(); --later > input;) rest /= levels[later];
    const std::uint64_t level = rest % levels[input];
    return (static_cast<double>(level) + 0.5) / static_cast<double>(levels[input]);
  }
  const double drawn = Unit(Mixed(definition.seed, StreamOf(input, false), number));
  if (definition.sampling == ESampling::kRandom) return drawn;
  const double u = (static_cast<double>(Permuted(number, input)) + drawn) / static_cast<double>(count);
  return std::min(u, 1.0 - 0x1p-53);
}

std::vector<std::string> CSampling::ValuesOf(std::uint64_t number) const {
  std::vector<std::string> values;
  for (std::size_t i = 0; i < definition.inputs.size(); ++i) {
    const TInput& input = definition.inputs[i];
    const double u = ProbabilityOf(number, i);
    switch (input.distribution) {
      case EDistribution::kUniform:
        values.push_back(NumberText(input.first + u * (input.second - input.first)));
        break;
      case EDistribution::kNormal:
        values.push_back(NumberText(input.first + input.second * NormalQuantile(u)));
        break;
      case EDistribution::kLogUniform: {
        const double low = elementary::Ln(input.first);
        values.push_back(NumberText(elementary::Exp(low + u * (elementary::Ln(input.second) - low))));
        break;
      }
      case EDistribution::kList: {
        const auto size = static_cast<double>(input.list.size());
        values.push_back(input.list[std::min(static_cast<std::size_t>(u * size), input.list.size() - 1)]);
        break;
      }
    }
  }
  return values;
}

}  // namespace study
