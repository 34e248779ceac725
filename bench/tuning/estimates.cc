#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <numbers>
#include <vector>

#include "bench/tuning/batch.h"
#include "bench/tuning/records.h"
#include "tuning/estimator.h"

namespace batch {
namespace {

// Of a sampled model without the hold's whole period, at angular frequency w.
std::complex<double> Gain(const tuning::TSampledModel& model, double w) {
  const std::complex<double> q = std::polar(1.0, -w * model.period);
  const auto at = [&](const std::vector<double>& polynomial) {
    std::complex<double> value = 0;
    for (std::size_t i = polynomial.size(); i-- > 0;) value = value * q + polynomial[i];
    return value;
  };
  return at(model.numerator) / at(model.denominator) * std::polar(1.0, -w * model.period * (model.delay + 1));
}

// Where the phase first comes to -180 degrees.
double CriticalFrequency(const tuning::TSampledModel& model) {
  const double top = std::numbers::pi / model.period;
  double turned = 0;
  for (double w = top * 1e-5; w < top; w *= 1.01) {
    const double phase = std::arg(Gain(model, w));
    turned = phase + 2 * std::numbers::pi * std::round((turned - phase) / (2 * std::numbers::pi));
    if (turned < -std::numbers::pi) return w;
  }
  return top;
}

// The largest relative error of the frequency response about the critical frequency, which is what designs are made of.
double Error(const tuning::TModel& model, const tuning::TSampledModel& truth, double critical) {
  const tuning::TSampledModel sampled = Sample(model, truth.period);
  double worst = 0;
  for (double part : {0.3, 0.5, 0.7, 1.0, 1.3}) {
    worst = std::max(worst, std::abs(Gain(sampled, part * critical) / Gain(truth, part * critical) - 1.0));
  }
  return worst;
}

double Quantile(std::vector<double> values, double part) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

}  // namespace

bool Estimates(int share) {
  const std::vector<TProcess> processes = Processes();
  bool reached = true;
  std::puts(
      "record, noise, colour: error about the critical frequency, median 90 % worst; of the set's nearest model; "
      "taken for disturbed; ms");
  for (const EExperiment kind : {EExperiment::kRelay, EExperiment::kStep}) {
    for (const auto& [noise, colour] : {std::pair{0.0, 0.0}, {0.02, 0.0}, {0.1, 0.0}, {0.1, 0.8}}) {
      std::vector<double> errors, nearest;
      int disturbed = 0;
      const auto begin = std::chrono::steady_clock::now();
      for (std::size_t i = 0; i < processes.size(); i += static_cast<std::size_t>(share)) {
        const tuning::TRecord record =
            Record(processes[i], {.experiment = kind, .noise = noise, .colour = colour, .seed = i + 1});
        const tuning::TEstimate estimate = tuning::Estimate({record}, {});
        const tuning::TSampledModel truth = Sample(processes[i], record.period);
        const double critical = CriticalFrequency(truth);
        errors.push_back(Error(estimate.model, truth, critical));
        nearest.push_back(errors.back());
        for (const tuning::TModel& model : estimate.set) {
          nearest.back() = std::min(nearest.back(), Error(model, truth, critical));
        }
        disturbed += estimate.loadStep > 0 || estimate.drift > 0 || estimate.notAtRest > 0;
      }
      const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
      const auto count = static_cast<double>(errors.size());
      std::printf("%-5s %4.2f %3.1f: %.3f %.3f %.3f; %.3f %.3f %.3f; %d of %.0f; %.0f\n",
                  kind == EExperiment::kRelay ? "relay" : "step", noise, colour, Quantile(errors, 0.5),
                  Quantile(errors, 0.9), Quantile(errors, 1), Quantile(nearest, 0.5), Quantile(nearest, 0.9),
                  Quantile(nearest, 1), disturbed, count, taken.count() / count);
      reached = reached && disturbed < 0.05 * count + 1;
      if (kind == EExperiment::kRelay) reached = reached && Quantile(errors, 0.9) < 0.15;
    }
  }
  return reached;
}

}  // namespace batch
