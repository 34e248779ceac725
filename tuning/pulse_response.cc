#include "tuning/pulse_response.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tuning {
namespace {

// Of the largest answer. Differences of two runs hold about 1e-12 of it.
constexpr double kNothing = 1e-9;
constexpr double kDeviation = 1e-7;  // of a sequence from a geometric one, of its largest
// What is left of the ratio's distance from 1 over half the answer where it comes from rounding alone.
constexpr double kIntegrates = 1e-6;

double Largest(const std::vector<double>& values, std::size_t first) {
  double largest = 0;
  for (std::size_t k = first; k < values.size(); ++k) largest = std::max(largest, std::abs(values[k]));
  return largest;
}

// values[k] = c r^(k - first) from `first` on: r, if that is what they are.
std::optional<double> GeometricRatio(const std::vector<double>& values, std::size_t first) {
  double products = 0;
  double squares = 0;
  for (std::size_t k = first + 1; k < values.size(); ++k) {
    products += values[k] * values[k - 1];
    squares += values[k - 1] * values[k - 1];
  }
  double ratio = products / squares;
  if (std::abs(ratio - 1) * static_cast<double>(values.size() - first) < kIntegrates) ratio = 1;
  double expected = values[first];
  const double allowed = kDeviation * Largest(values, first);
  for (std::size_t k = first; k < values.size(); ++k, expected *= ratio) {
    if (!(std::abs(values[k] - expected) <= allowed)) return std::nullopt;
  }
  return ratio;
}

}  // namespace

std::optional<TSampledModel> FromPulse(const std::vector<double>& answer, double period) {
  const std::size_t middle = answer.size() / 2;
  const double largest = Largest(answer, 0);
  TSampledModel model{period, 0, answer, {1}};
  std::vector<double>& numerator = model.numerator;
  if (Largest(answer, middle) > kNothing * largest) {
    const std::optional<double> ratio = GeometricRatio(answer, middle);
    if (!ratio) return std::nullopt;
    // (g0 + g1 q + ... + gn q^n (1 + r q + ...)) (1 - r q): what is left behind the sequence's beginning is nothing.
    model.denominator = {1, -*ratio};
    for (std::size_t k = numerator.size(); k-- > 1;) numerator[k] -= *ratio * numerator[k - 1];
  }
  const auto counts = [largest](double value) { return std::abs(value) > kNothing * largest; };
  numerator.erase(std::find_if(numerator.rbegin(), numerator.rend(), counts).base(), numerator.end());
  const auto first = std::find_if(numerator.begin(), numerator.end(), counts);
  model.delay = static_cast<int>(first - numerator.begin());
  numerator.erase(numerator.begin(), first);
  return model;
}

}  // namespace tuning
