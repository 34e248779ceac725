#include "bench/tuning/processes.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "runtime/numbers/elementary_functions.h"
#include "tuning/polynomial.h"

namespace batch {
namespace {

std::string Named(const char* format, double a, double b = 0) {
  char text[80];
  std::snprintf(text, sizeof text, format, a, b);
  return text;
}

// theta and T of the process' lags, the pair of P9 as two.
TProcess Finished(TProcess process) {
  std::vector<double> lags = process.lags;
  if (process.pair > 0) lags.insert(lags.end(), 2, process.pair);
  if (process.integrating) lags.insert(lags.begin(), HUGE_VAL);
  std::sort(lags.rbegin(), lags.rend());
  lags.resize(std::max<std::size_t>(lags.size(), 2), 0.0);
  process.T = lags[0] + lags[1] / 2;
  process.theta = process.delay + process.zero + lags[1] / 2;
  for (std::size_t i = 2; i < lags.size(); ++i) process.theta += lags[i];
  return process;
}

// e^a by Taylor's series of the matrix scaled below 1/2, squared back.
Eigen::MatrixXd Exponential(Eigen::MatrixXd a) {
  int squarings = 0;
  for (; a.cwiseAbs().rowwise().sum().maxCoeff() > 0.5; a /= 2) ++squarings;
  Eigen::MatrixXd term = Eigen::MatrixXd::Identity(a.rows(), a.cols());
  Eigen::MatrixXd sum = term;
  for (int n = 1; n <= 13; ++n) {
    term = (term * a / n).eval();
    sum += term;
  }
  for (int n = 0; n < squarings; ++n) sum = (sum * sum).eval();
  return sum;
}

}  // namespace

double TProcess::DesignLoad() const {
  const double lagging = (integrating ? 1 : T) / (4 * gain * theta);
  return integrating ? lagging : std::max(1 / gain, lagging);
}

std::vector<TProcess> Processes() {
  std::vector<TProcess> all;
  const auto add = [&](TProcess process) { all.push_back(Finished(std::move(process))); };
  for (double T :
       {.02, .05, .1, .2, .3, .5, .7, 1., 1.3, 1.5, 2., 4., 6., 8., 10., 20., 50., 100., 200., 500., 1000.}) {
    add({.name = Named("P1 T=%g", T), .delay = 1, .lags = {T}});
  }
  for (double T : {.01, .02, .05, .1, .2, .3, .5, .7, 1., 1.3, 1.5, 2., 4., 6., 8., 10., 20., 50., 100., 200., 500.}) {
    add({.name = Named("P2 T=%g", T), .delay = 1, .lags = {T, T}});
  }
  for (double T : {.005, .01, .02, .05, .1, .2, .5, 2., 5., 10.}) {
    add({.name = Named("P3 T=%g", T), .lags = {1, T, T}});
  }
  for (unsigned n = 3; n <= 8; ++n) add({.name = Named("P4 n=%g", n), .lags = std::vector<double>(n, 1.0)});
  for (double a : {.1, .2, .3, .4, .5, .6, .7, .8, .9}) {
    add({.name = Named("P5 a=%g", a), .lags = {1, a, a * a, a * a * a}});
  }
  for (double L : {.01, .02, .05, .1, .2, .3, .5, .7, .9, 1.}) {
    add({.name = Named("P6 L=%g", L), .delay = L, .lags = {1 - L}, .integrating = true});
  }
  for (double T : {1., 2., 5., 10.}) {
    for (double L : {.01, .02, .05, .1, .3, .5, .7, .9, 1.}) {
      add({.name = Named("P7 T=%g L=%g", T, L), .gain = T, .delay = L, .lags = {T, 1 - L}});
    }
  }
  for (double a : {.1, .2, .3, .4, .5, .6, .7, .8, .9, 1., 1.1}) {
    add({.name = Named("P8 a=%g", a), .zero = a, .lags = {1, 1, 1}});
  }
  for (double T : {.1, .2, .3, .4, .5, .6, .7, .8, .9, 1.}) {
    add({.name = Named("P9 T=%g", T), .lags = {1}, .pair = T});
  }
  return all;
}

// A chain of sections, each with what the one before gives as its input; the last state is the input, which stays 1.
// The zero is at the end: value = x - zero x'.
tuning::TSampledModel Sample(const TProcess& process, double period) {
  std::vector<double> lags = process.lags;
  std::erase(lags, 0.0);
  const std::size_t order = lags.size() + (process.pair > 0 ? 2 : 0) + (process.integrating ? 1 : 0);
  const auto input = static_cast<Eigen::Index>(order);
  Eigen::MatrixXd a = Eigen::MatrixXd::Zero(input + 1, input + 1);
  tuning::TSampledModel sampled{.period = period, .delay = 0, .numerator = {}, .denominator = {1}};
  Eigen::Index before = input;
  Eigen::Index next = 0;
  const auto pole = [&](double p) {
    sampled.denominator = tuning::Product(sampled.denominator, {1, -elementary::Exp(p * period)});
  };
  if (process.pair > 0) {
    const double T = process.pair;
    a(next, next + 1) = 1;
    a(next + 1, next) = -1 / (T * T);
    a(next + 1, next + 1) = -1.4 / T;
    a(next + 1, before) = 1 / (T * T);
    before = next;
    next += 2;
    const double radius = elementary::Exp(-0.7 * period / T);
    const double angle = std::sqrt(1 - 0.49) * period / T;
    sampled.denominator = {1, -2 * radius * elementary::Cos(angle), radius * radius};
  }
  if (process.integrating) {
    a(next, before) = 1;
    before = next++;
    pole(0);
  }
  for (double lag : lags) {
    a(next, next) = -1 / lag;
    a(next, before) = 1 / lag;
    before = next++;
    pole(-1 / lag);
  }
  Eigen::RowVectorXd out = -process.gain * process.zero * a.row(before);
  out(before) += process.gain;

  const double periods = std::floor(process.delay / period + 1e-9);
  const double f = std::max(0.0, process.delay / period - periods);
  sampled.delay = static_cast<int>(periods);
  const Eigen::MatrixXd whole = Exponential(a * period);
  Eigen::VectorXd state = Exponential(a * ((1 - f) * period)).col(input);
  double last = 0;
  std::vector<double> impulse;
  for (std::size_t i = 0; i <= order; ++i) {
    const double value = out * state;
    impulse.push_back(value - last);
    last = value;
    state = (whole * state).eval();
  }
  sampled.numerator = tuning::Product(impulse, sampled.denominator);
  sampled.numerator.resize(impulse.size());
  return sampled;
}

}  // namespace batch
