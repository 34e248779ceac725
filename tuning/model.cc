#include "tuning/model.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "runtime/numbers/elementary_functions.h"
#include "tuning/polynomial.h"

namespace tuning {
namespace {

constexpr int kStates = 4;  // three at most of the process, and the input

using TState = std::array<double, kStates>;
using TMatrix = std::array<TState, kStates>;

TMatrix operator*(const TMatrix& a, const TMatrix& b) {
  TMatrix product{};
  for (int i = 0; i < kStates; ++i) {
    for (int k = 0; k < kStates; ++k) {
      for (int j = 0; j < kStates; ++j) product[i][j] += a[i][k] * b[k][j];
    }
  }
  return product;
}

TState operator*(const TMatrix& a, const TState& x) {
  TState product{};
  for (int i = 0; i < kStates; ++i) {
    for (int j = 0; j < kStates; ++j) product[i] += a[i][j] * x[j];
  }
  return product;
}

double Dot(const TState& a, const TState& b) {
  double sum = 0;
  for (int i = 0; i < kStates; ++i) sum += a[i] * b[i];
  return sum;
}

// e^{a t}: Taylor's series of the matrix scaled below 1/2, squared back.
TMatrix Exponential(const TMatrix& a, double t) {
  double norm = 0;
  for (const TState& row : a) {
    double sum = 0;
    for (double element : row) sum += std::abs(element * t);
    norm = std::max(norm, sum);
  }
  int squarings = 0;
  double scale = t;
  for (; norm > 0.5; norm /= 2, scale /= 2) ++squarings;
  TMatrix result{};
  for (int i = 0; i < kStates; ++i) result[i][i] = 1;
  TMatrix term = result;
  constexpr int kTerms = 13;  // 0.5^14/14! is below the last bit
  for (int n = 1; n <= kTerms; ++n) {
    term = term * a;
    for (int i = 0; i < kStates; ++i) {
      for (int j = 0; j < kStates; ++j) result[i][j] += (term[i][j] *= scale / n);
    }
  }
  for (int n = 0; n < squarings; ++n) result = result * result;
  return result;
}

// x' = a x of the states and an input that stays 1; the value is out x.
struct TContinuous {
  TMatrix a{};
  TState out{};
};

// The states: of the lag T3, what of it reaches the others; of the rest, the value x whose equation is
// tau x'' + x' + eps x = v, and x' where tau > 0. The value is k x + kb x'.
TContinuous Continuous(const TModel& model, bool second, bool third) {
  enum { kX = 0, kRate = 1, kLagged = 2, kInput = 3 };
  TContinuous process;
  const int v = third ? kLagged : kInput;
  if (third) {
    process.a[kLagged][kLagged] = -1 / model.T3;
    process.a[kLagged][kInput] = 1 / model.T3;
  }
  if (second) {
    process.a[kX][kRate] = 1;
    process.a[kRate][kX] = -model.eps / model.tau;
    process.a[kRate][kRate] = -1 / model.tau;
    process.a[kRate][v] = 1 / model.tau;
    process.out[kX] = model.k;
    process.out[kRate] = model.kb;
  } else {
    process.a[kX][kX] = -model.eps;
    process.a[kX][v] = 1;
    process.out[kX] = model.k - model.kb * model.eps;
    process.out[v] = model.kb;
  }
  return process;
}

// The product of 1 - e^{p h} q over the roots p of tau s^2 + s + eps.
std::vector<double> SampledPoles(const TModel& model, bool second, double h) {
  if (!second) return {1, -elementary::Exp(-model.eps * h)};
  const double discriminant = 1 - 4 * model.tau * model.eps;
  const double root = std::sqrt(std::abs(discriminant));
  if (discriminant < 0) {
    const double radius = elementary::Exp(-h / (2 * model.tau));
    return {1, -2 * radius * elementary::Cos(root * h / (2 * model.tau)), radius * radius};
  }
  const double slow = elementary::Exp(-2 * model.eps / (1 + root) * h);
  const double fast = elementary::Exp(-(1 + root) / (2 * model.tau) * h);
  return {1, -(slow + fast), slow * fast};
}

}  // namespace

// L = (delay + f) h. The step response sampled at (1-f) h, (2-f) h, ... has as its differences the impulse response
// of the sampled model; the numerator is what of it, times the denominator, isn't zero.
TSampledModel Sample(const TModel& model, double period) {
  // A lag as short as this can't be told from none, and would need a matrix of huge numbers.
  const double least = 1e-9 * period;
  const bool second = model.tau > least;
  const bool third = model.T3 > least;

  TSampledModel sampled;
  sampled.period = period;
  const double periods = std::floor(model.L / period);
  sampled.delay = static_cast<int>(std::min(periods, 1e9));
  const double f = std::clamp(model.L / period - periods, 0.0, 1.0);

  sampled.denominator = SampledPoles(model, second, period);
  if (third) sampled.denominator = Product(sampled.denominator, {1, -elementary::Exp(-period / model.T3)});

  const TContinuous process = Continuous(model, second, third);
  const TMatrix early = Exponential(process.a, (1 - f) * period);
  const TMatrix late = Exponential(process.a, f * period);
  TState state = early * TState{0, 0, 0, 1};
  double before = 0;
  std::vector<double> impulse;
  for (std::size_t i = 0; i < sampled.denominator.size(); ++i) {
    if (i > 0) state = early * (late * state);
    const double value = Dot(process.out, state);
    impulse.push_back(value - before);
    before = value;
  }
  sampled.numerator = Product(impulse, sampled.denominator);
  sampled.numerator.resize(impulse.size());
  return sampled;
}

std::vector<double> Simulate(const TSampledModel& model, const std::vector<double>& input) {
  const std::size_t n = input.size();
  std::vector<double> output(n, 0.0);
  for (std::size_t i = 0; i < model.numerator.size(); ++i) {
    const double b = model.numerator[i];
    const std::size_t back = static_cast<std::size_t>(model.delay) + 1 + i;
    for (std::size_t j = back; j < n; ++j) output[j] += b * input[j - back];
  }
  const double* a = model.denominator.data();
  const std::size_t order = model.denominator.size() - 1;
  for (std::size_t j = 1; j < n; ++j) {
    double value = output[j];
    for (std::size_t i = 1; i <= std::min(order, j); ++i) value -= a[i] * output[j - i];
    output[j] = value;
  }
  return output;
}

TApparent Apparent(const TModel& model) {
  TApparent apparent;
  std::array<double, 3> lags{0, 0, model.T3};
  if (model.eps > 0) {
    const double discriminant = 1 - 4 * model.tau * model.eps;
    if (discriminant < 0) {
      lags[0] = lags[1] = std::sqrt(model.tau / model.eps);
    } else {
      const double root = std::sqrt(discriminant);
      lags[0] = (1 + root) / (2 * model.eps);
      lags[1] = 2 * model.tau / (1 + root);
    }
  } else {
    lags[0] = model.tau;
  }
  std::sort(lags.rbegin(), lags.rend());

  // A zero to the right delays; one to the left takes away from the shorter lags.
  double lead = model.k != 0 ? model.kb / model.k : 0;
  apparent.deadTime = model.L + std::max(0.0, -lead);
  for (int i = 2; i >= (model.eps > 0 ? 1 : 0) && lead > 0; --i) {
    const double taken = std::min(lead, lags[i]);
    lags[i] -= taken;
    lead -= taken;
  }
  if (model.eps > 0) {
    apparent.gain = model.k / model.eps;
    apparent.lag = lags[0] + lags[1] / 2;
    apparent.deadTime += lags[1] / 2 + lags[2];
  } else {
    apparent.gain = model.k;
    apparent.lag = std::numeric_limits<double>::infinity();
    apparent.deadTime += lags[0] / 2 + lags[1] + lags[2];
  }
  return apparent;
}

}  // namespace tuning
