// Models, and what is found of them in records.
#include <gtest/gtest.h>

#include <cmath>

#include "runtime/numbers/random.h"
#include "tuning/estimator.h"

namespace tuning {
namespace {

// The value after a unit step at instant 0 of models whose answer is known, t > L.
struct TStepCase {
  const char* name;
  TModel model;
  double (*value)(double t);  // t after the dead time
};
const TStepCase kSteps[] = {
    {"first order", {.k = 3, .L = 0.37, .eps = 2}, [](double t) { return 1.5 * (1 - std::exp(-2 * t)); }},
    {"whole dead time", {.k = 3, .L = 0.4, .eps = 2}, [](double t) { return 1.5 * (1 - std::exp(-2 * t)); }},
    {"integrator", {.k = 3, .L = 0.05}, [](double t) { return 3 * t; }},
    {"integrator and lag", {.k = 1, .L = 0.25, .tau = 0.5}, [](double t) { return t - 0.5 * (1 - std::exp(-2 * t)); }},
    {"double pole", {.k = 0.5, .tau = 0.5, .eps = 0.5}, [](double t) { return 1 - (1 + t) * std::exp(-t); }},
    {"swinging",
     {.k = 2, .L = 1.01, .tau = 0.5, .eps = 1},
     [](double t) { return 2 - 2 * std::exp(-t) * (std::cos(t) + std::sin(t)); }},
    {"a zero alone", {.k = 1, .kb = 0.25, .L = 0.2, .eps = 1}, [](double t) { return 1 - 0.75 * std::exp(-t); }},
    {"three lags and a zero",
     {.k = 1, .kb = -0.5, .L = 0.1, .tau = 0.5, .eps = 0.5, .T3 = 1},
     [](double t) { return 2 - std::exp(-t) * (2 + 2 * t + 1.5 * t * t); }},
};

TEST(TuningModel, StepsAsClosedFormsDo) {
  for (const TStepCase& step : kSteps) {
    const TSampledModel sampled = Sample(step.model, 0.1);
    const std::vector<double> values = Simulate(sampled, std::vector<double>(60, 1.0));
    for (std::size_t j = 0; j < values.size(); ++j) {
      const double t = 0.1 * static_cast<double>(j) - step.model.L;
      EXPECT_NEAR(values[j], t > 1e-9 ? step.value(t) : 0, 1e-11) << step.name << " at row " << j;
    }
  }
}

TEST(TuningModel, IsKnownToRulesByTwoLags) {
  const TApparent lags = Apparent({.k = 1, .kb = -0.5, .L = 1, .tau = 0.5, .eps = 0.5, .T3 = 4});
  EXPECT_DOUBLE_EQ(lags.gain, 2);
  EXPECT_DOUBLE_EQ(lags.lag, 4.5);
  EXPECT_DOUBLE_EQ(lags.deadTime, 1 + 0.5 + 0.5 + 1);
  const TApparent integrating = Apparent({.k = 3, .L = 1, .tau = 4, .T3 = 2});
  EXPECT_DOUBLE_EQ(integrating.gain, 3);
  EXPECT_TRUE(std::isinf(integrating.lag));
  EXPECT_DOUBLE_EQ(integrating.deadTime, 1 + 2 + 2);
}

// A square wave of uneven halves from rest, and white noise on the value.
struct TTrial {
  TModel model;
  double noise = 0;
  std::uint64_t seed = 1;
  int rows = 240;
  double load = 0;   // at the input from the middle on
  double drift = 0;  // of the level until the end
  double start = 0;  // the input before the record
};
TRecord Recorded(const TTrial& trial) {
  constexpr int kBefore = 200;
  std::vector<double> input(kBefore, trial.start);
  TRecord record{.period = 0.1, .input = {}, .output = {}, .used = {}};
  for (int j = 0; j < trial.rows; ++j) {
    record.input.push_back(j < 10 ? 50 : (j / 17 + j / 40) % 2 ? 47 : 53);
    record.used.push_back(1);
    input.push_back(record.input.back() - 50 + (j >= trial.rows / 2 ? trial.load : 0));
  }
  const std::vector<double> values = Simulate(Sample(trial.model, record.period), input);
  runtime::CRandom random(trial.seed);
  for (int j = 0; j < trial.rows; ++j) {
    record.output.push_back(20 + values[kBefore + j] + trial.noise * random.Normal() + trial.drift * j / trial.rows);
  }
  return record;
}

void ExpectNear(const TModel& found, const TModel& truth, double relative) {
  for (double TModel::*number : {&TModel::k, &TModel::kb, &TModel::L, &TModel::tau, &TModel::eps, &TModel::T3}) {
    EXPECT_NEAR(found.*number, truth.*number, relative * (std::abs(truth.*number) + 0.1));
  }
}

const TModel kLagged{.k = 2, .L = 0.33, .tau = 0.4, .eps = 0.8};

TEST(TuningEstimator, FindsTheNumbersOfACleanRecord) {
  for (const TModel& model : {TModel{.k = -0.6, .L = 0.57, .eps = 0.4}, TModel{.k = 0.5, .L = 0.4, .tau = 0.3}, kLagged,
                              TModel{.k = 1, .kb = -0.4, .L = 0.25, .tau = 0.8, .eps = 0.9}}) {
    const TEstimate estimate = Estimate({Recorded({.model = model})}, {});
    ExpectNear(estimate.model, model, 1e-4);
    ASSERT_EQ(estimate.levels.size(), 1u);
    EXPECT_NEAR(estimate.levels[0], 20, 1e-4);
    EXPECT_LT(estimate.sigma, 1e-3);
  }
}

TEST(TuningEstimator, IsWithinItsDeviations) {
  int within = 0, all = 0;
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    const TEstimate estimate = Estimate({Recorded({.model = kLagged, .noise = 0.4, .seed = seed})}, {.seed = seed});
    EXPECT_GT(estimate.gainTValue, 20);
    EXPECT_NEAR(estimate.sigma, 0.4, 0.1);
    if (estimate.order != 2) continue;
    within += std::abs(estimate.model.L - kLagged.L) < 2 * estimate.deviations.L;
    within += std::abs(estimate.model.tau - kLagged.tau) < 2 * estimate.deviations.tau;
    all += 2;
  }
  EXPECT_GE(all, 8);
  EXPECT_GE(within, all - 2);
}

TEST(TuningEstimator, TellsAllModelsThatAreLikely) {
  const TRecord record = Recorded({.model = kLagged, .noise = 0.4});
  const auto squares = [&](const TModel& model) {
    const std::vector<double> values = Simulate(Sample(model, record.period), [&] {
      std::vector<double> input = record.input;
      for (double& one : input) one -= 50;
      return input;
    }());
    double sum = 0, square = 0;
    for (std::size_t j = 0; j < values.size(); ++j) {
      const double residual = record.output[j] - values[j];
      sum += residual;
      square += residual * residual;
    }
    return square - sum * sum / static_cast<double>(values.size());
  };
  const TEstimate estimate = Estimate({record}, {.seed = 3});
  EXPECT_GT(estimate.set.size(), 15u);
  const double least = squares(estimate.set.front());
  double most = least;
  for (const TModel& model : estimate.set) most = std::max(most, squares(model));
  const double bound = std::exp(12 * estimate.inflation / 240);
  EXPECT_LE(most, least * bound * (1 + 1e-9));
  EXPECT_GT(most, least * (1 + 0.7 * (bound - 1)));

  const TEstimate again = Estimate({record}, {.seed = 3});
  ASSERT_EQ(again.set.size(), estimate.set.size());
  for (std::size_t i = 0; i < again.set.size(); ++i) EXPECT_EQ(again.set[i].L, estimate.set[i].L);
}

TEST(TuningEstimator, WeighsRecordsByTheirNoise) {
  const TRecord loud = Recorded({.model = kLagged, .noise = 2, .seed = 5});
  const TRecord quiet = Recorded({.model = kLagged, .noise = 0.1, .seed = 6});
  const TEstimate alone = Estimate({loud}, {});
  const TEstimate both = Estimate({loud, quiet}, {});
  EXPECT_NEAR(both.sigmas[0], 2, 0.3);
  EXPECT_NEAR(both.sigmas[1], 0.1, 0.02);
  EXPECT_LT(both.deviations.L, 0.2 * alone.deviations.L);
  EXPECT_NEAR(both.model.L, kLagged.L, 0.03);
}

TEST(TuningEstimator, LeavesOutRowsThatAreNotToBeFitted) {
  TRecord record = Recorded({.model = kLagged});
  for (std::size_t j = 60; j < 90; ++j) {
    record.used[j] = 0;
    record.output[j] = 1e6;
  }
  ExpectNear(Estimate({record}, {}).model, kLagged, 1e-4);
}

TEST(TuningEstimator, SeesDisturbances) {
  const auto speaks = [](const TTrial& trial) {
    const TEstimate e = Estimate({Recorded(trial)}, {});
    return std::array{e.loadStep > 0, e.drift > 0, e.notAtRest > 0};
  };
  const std::array none{false, false, false};
  EXPECT_EQ(speaks({.model = kLagged}), none);
  EXPECT_EQ(speaks({.model = kLagged, .noise = 0.4}), none);
  EXPECT_TRUE(speaks({.model = kLagged, .noise = 0.4, .load = 1.5})[0]);
  EXPECT_TRUE(speaks({.model = kLagged, .noise = 0.4, .drift = 4})[1]);
  EXPECT_TRUE(speaks({.model = kLagged, .noise = 0.4, .start = -3})[2]);
}

TEST(TuningEstimator, RefusesWhatHoldsNoAnswer) {
  const TRecord good = Recorded({.model = kLagged, .rows = 40});
  const auto refused = [&](auto spoil) {
    TRecord record = good;
    spoil(record);
    EXPECT_THROW(Estimate({record}, {}), std::invalid_argument);
  };
  refused([](TRecord& r) { std::fill(r.input.begin(), r.input.end(), 50.0); });
  refused([](TRecord& r) { std::fill(r.used.begin() + 15, r.used.end(), '\0'); });
  refused([](TRecord& r) { r.output.pop_back(); });
  refused([](TRecord& r) { r.period = 0; });
  refused([](TRecord& r) { r.output[7] = NAN; });
  refused([](TRecord& r) { r.input[7] = HUGE_VAL; });
  refused([](TRecord& r) { std::fill(r.output.begin(), r.output.end(), 3.0); });
}

}  // namespace
}  // namespace tuning
