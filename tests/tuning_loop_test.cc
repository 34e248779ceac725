// What the tuning knows of a loop: against the regulator as it runs, closed forms and the roots.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "tests/support.h"
#include "tuning/design.h"
#include "tuning/loop.h"
#include "tuning/nelder_mead.h"

namespace tuning {
namespace {
using tests::CRun;

constexpr ELaw kLawsWithPid[] = {ELaw::kClassical, ELaw::kClassicalDelay, ELaw::kTakahashi, ELaw::kTakahashiDelay};

TEST(TuningLoop, IsTheRegulatorsAsItRuns) {
  for (const ELaw law : kLawsWithPid) {
    SCOPED_TRACE(LawName(law));
    CRun run(
        "application loop period = 0.5; duration = 1e8; end_application;\n"
        "data wish : real = 50; x : real = 50; u : real = 50; end_data;\n"
        "process substeps = 50; x' = (1.5 * (u - 50) - (x - 50)) / 5; end_process;\n"
        "instrument pid_regulator reg expression = x; wish_value = wish; output = u; start = output;\n"
        "parameters regulator_type = " +
        std::string(LawName(law)) + "; param_1 = 2; param_2 = 4; param_3 = 0.7; end_parameters; end_instrument;\n");
    const TResponse response =
        Response({law, 2, 4, 0.7, 0.2, 0.5}, Sample(TModel{.k = 0.3, .eps = 0.2}, 0.5), 1, 0, 60);
    run.Steps(4);
    run.SetValue("wish", 51);
    for (std::size_t k = 0; k < response.value.size(); ++k) {
      run.Steps(1);
      ASSERT_NEAR(run.Value("x") - 50, response.value[k], 1e-9) << k;
      ASSERT_NEAR(run.Value("u") - 50, response.output[k], 1e-9) << k;
    }
  }
}

// An integrating process of gain g a period under proportional control, d periods late: L = g q^(d+1) / (1 - q).
TEST(TuningLoop, HasTheMarginsOfClosedForms) {
  for (const int d : {0, 1, 3, 10}) {
    const double g = 0.8 / (d + 1);
    const TController c = {ELaw::kTakahashi, 4, 1e14, 0, 0, 2};
    const TSampledModel model = {2, d, {g / 4}, {1, -1}};
    const TMargins margins = Margins(c, model);
    ASSERT_TRUE(margins.stable);
    const double crossover = 2 * std::asin(g / 2);
    EXPECT_NEAR(*margins.gain, 2 * std::sin(std::numbers::pi / (4 * d + 2)) / g, 1e-9) << d;
    EXPECT_NEAR(*margins.phase, 90 - crossover * (d + 0.5) * 180 / std::numbers::pi, 1e-8) << d;
    if (d > 0) continue;
    EXPECT_NEAR(margins.ms, 1 / (1 - g / 2), 1e-9);  // at Nyquist's frequency
    EXPECT_NEAR(NoiseGain(c, model), 4 * std::sqrt(2 / (2 - g)), 1e-7);
    const std::complex<double> q = std::polar(1.0, -0.3);
    EXPECT_LT(std::abs(LoopGain(c, model, 0.15) - g * q / (1.0 - q)), 1e-12);
  }
}

// Loops of every kind, also such as hardly settle or ring for long.
TEST(TuningLoop, IsStableWhereItsRootsAreAndNoFrequencyIsWorseThanMs) {
  std::mt19937 generator(1);
  const auto any = [&](double low, double high) { return low * std::pow(high / low, generator() / 4294967296.0); };
  int stable = 0;
  for (int n = 0; n < 250; ++n) {
    TModel model = {any(0.1, 10), 0, any(0.1, 10), 0, 1, 0};
    if (n % 5 > 0) model.tau = any(0.01, 30);
    if (n % 5 == 2) model.eps = 0;
    if (n % 5 == 3) model.kb = model.k * any(0.1, 10) * (n % 2 ? 1 : -1);
    if (n % 5 == 4) model.T3 = any(0.1, 3);
    const double h = model.L * any(0.05, 1);
    const TSampledModel sampled = Sample(model, h);
    const TController c = {kLawsWithPid[n % 4], any(0.02, 5) / model.k, any(0.3, 30), any(0.01, 3), 0.2, h};
    const TMargins margins = Margins(c, sampled);
    ASSERT_EQ(margins.stable, IsStableByRoots(c, sampled)) << n;
    if (!margins.stable) continue;
    ++stable;
    double worst = 0;
    for (int i = 1; i <= 1000; ++i) {
      const double omega = std::numbers::pi / h * std::pow(1e-4, 1 - i / 1000.0);
      worst = std::max(worst, 1 / std::abs(1.0 + LoopGain(c, sampled, omega)));
    }
    EXPECT_LE(worst, margins.ms * (1 + 1e-4)) << n;
    EXPECT_LE(margins.ms, worst * 1.5) << n;
    // More of what a margin says makes it unstable.
    if (!margins.gain) continue;
    for (const auto& [factor, expected] : {std::pair{0.999, true}, {1.001, false}}) {
      TController more = c;
      more.r0 *= *margins.gain * factor;
      EXPECT_EQ(Margins(more, sampled).stable, expected) << n;
    }
  }
  EXPECT_GT(stable, 80);
  EXPECT_LT(stable, 200);
}

TEST(TuningLoop, CostsWhatItsResponsesAdd) {
  for (const TModel& model :
       {TModel{.k = 0.5, .L = 1.03, .tau = 0.8, .eps = 0.5}, TModel{.k = 0.2, .L = 0.7, .T3 = 0.4}}) {
    const TSampledModel sampled = Sample(model, 0.1);
    for (const ELaw law : kLawsWithPid) {
      for (const double tI : {4.0, 60.0}) {
        const TController c = {law, 0.7, tI, 0.4, 0.2, 0.1};
        const TResponse wish = Response(c, sampled, 1, 0, 20000);
        const TResponse load = Response(c, sampled, 0, 3, 20000);
        double setPointSum = 0;
        double loadSum = 0;
        for (std::size_t k = 0; k < wish.value.size(); ++k) {
          setPointSum += 0.1 * std::fabs(1 - wish.value[k]);
          loadSum += 0.1 * std::fabs(load.value[k]);
        }
        const TCost cost = Cost(c, sampled, 3);
        EXPECT_NEAR(cost.setPoint, setPointSum, 1e-3 * setPointSum) << LawName(law) << " " << tI;
        EXPECT_NEAR(cost.load, loadSum, 1e-3 * loadSum) << LawName(law) << " " << tI;
      }
    }
    EXPECT_TRUE(std::isinf(Cost({ELaw::kClassical, 40, 4, 0.4, 0, 0.1}, sampled, 3).Sum()));
  }
}

TEST(TuningDesign, IsWithinItsBoundsAndNothingNearIsCheaper) {
  const TModel nominal = {.k = 0.2, .L = 1, .tau = 1.2, .eps = 0.2};
  TModel later = nominal;
  later.L = 1.25;
  for (const bool derivative : {true, false}) {
    for (const std::vector<TModel>& set : {std::vector{nominal}, {nominal, later}}) {
      TDesignOptions options;
      options.period = 0.2;
      options.derivative = derivative;
      const std::optional<TController> found = Design(set, options);
      ASSERT_TRUE(found);
      EXPECT_EQ(found->tD > 0, derivative);
      const auto holds = [&](const TController& c) {
        return Margins(c, Sample(nominal, 0.2)).ms <= 1.85 && Margins(c, Sample(set.back(), 0.2)).ms <= 2.0;
      };
      EXPECT_TRUE(holds(*found));
      const double load = DesignLoad(nominal, 0.2);
      const double cost = Cost(*found, Sample(nominal, 0.2), load).Sum();
      for (double TController::*number : {&TController::r0, &TController::tI, &TController::tD}) {
        for (const double factor : {0.93, 1.07}) {
          TController other = *found;
          other.*number *= factor;
          if (holds(other)) {
            EXPECT_GT(Cost(other, Sample(nominal, 0.2), load).Sum(), 0.998 * cost) << factor;
          }
        }
      }
    }
  }
}

TEST(TuningDesign, SaysSoWhereNothingHoldsTheBounds) {
  TDesignOptions options;
  options.period = 0.2;
  EXPECT_FALSE(Design({TModel{.k = 0.2, .L = 1, .eps = 0.2}, TModel{.k = -0.2, .L = 1, .eps = 0.2}}, options));
}

TEST(TuningDesign, SearchFindsTheLeastValue) {
  const auto valley = [](const std::vector<double>& x) {
    return 100 * std::pow(x[1] - x[0] * x[0], 2) + std::pow(1 - x[0], 2);
  };
  const std::vector<double> found = NelderMead(valley, {-1.2, 1}, {0.5, 1e-12, 1000});
  EXPECT_NEAR(found[0], 1, 1e-4);
  EXPECT_NEAR(found[1], 1, 1e-4);
}

}  // namespace
}  // namespace tuning
