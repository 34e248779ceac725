// An experiment on a loop, by itself.
#include "workbench/run/experiment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>

#include "tests/support.h"

namespace {

using workbench::CExperiment;
using workbench::TExperimentPlan;

// 0.05 of its way each period, after two of dead time, from 60 at an output of 25; its
// loop holds that output.
struct TLoop {
  double gain = 1.6;
  double drift = 0.0;        // of the output of the loop, each period
  std::uint64_t passed = 1;  // by each period
  double value = 60.0;
  double own = 25.0;
  double output = 25.0;
  std::deque<double> late{25.0, 25.0};

  void Step(std::optional<double> tracked) {
    value += 0.05 * (60.0 + gain * (late.front() - 25.0) - value);
    late.pop_front();
    own += drift;
    output = tracked.value_or(own);
    late.push_back(output);
  }
};

TExperimentPlan Plan(bool isRelay, double amplitude) {
  TExperimentPlan plan;
  plan.isRelay = isRelay;
  plan.amplitude = amplitude;
  plan.low = 30.0;
  plan.high = 90.0;
  plan.longest = 2000.0;
  plan.period = 1.0;
  plan.outputHigh = 100.0;
  return plan;
}

struct TDone {
  std::vector<double> values;   // that were recorded
  std::vector<double> outputs;  // and after the end two more
  bool isWhole;
  std::string ending;
};

TDone Do(const TExperimentPlan& plan, TLoop loop = {}, std::size_t abortAt = SIZE_MAX) {
  CExperiment experiment(plan);
  TDone done;
  std::optional<double> tracked;
  for (std::size_t period = 0; !experiment.IsOver() && period < 10'000; ++period) {
    if (period == abortAt) experiment.Abort("by a test");
    loop.Step(tracked);
    tracked = experiment.Follow({loop.value, loop.output, true, loop.passed});
    if (!experiment.IsRecorded()) continue;
    done.values.push_back(loop.value);
    done.outputs.push_back(loop.output);
  }
  EXPECT_FALSE(tracked);
  done.isWhole = experiment.IsWhole();
  done.ending = experiment.Ending();
  return done;
}

std::size_t Changes(const std::vector<double>& outputs) {
  std::size_t changes = 0;
  for (std::size_t i = 1; i < outputs.size(); ++i) changes += outputs[i] != outputs[i - 1] ? 1 : 0;
  return changes;
}

TEST(Experiment, SwitchesARelayForTwentyCycles) {
  for (const double amplitude : {10.0, -10.0}) {
    for (const double gain : {1.6, -1.6}) {
      TExperimentPlan plan = Plan(true, amplitude);
      plan.raises = gain > 0.0;
      TLoop loop;
      loop.gain = gain;
      const TDone done = Do(plan, loop);
      EXPECT_TRUE(done.isWhole);
      EXPECT_EQ(done.ending, "the experiment ended after 20 cycles");
      EXPECT_EQ(done.outputs[20], 25.0 + amplitude);  // behind what it holds
      EXPECT_EQ(Changes(done.outputs), 41u);
      EXPECT_EQ(done.outputs.back(), 25.0);
      EXPECT_LT(std::abs(done.values.back() - 60.0), 6.0);
    }
  }
}

TEST(Experiment, MakesAsManyRowsAsAreAskedFor) {
  TExperimentPlan plan = Plan(true, 10.0);
  plan.rows = 300;
  EXPECT_EQ(Do(plan).ending, "the experiment ended after 300 rows");
  EXPECT_EQ(Do(plan).values.size(), 320u);  // with those of the return
}

TEST(Experiment, StepsUntilTheValueIsSteadyAndBack) {
  for (const double amplitude : {10.0, -10.0}) {
    const TDone done = Do(Plan(false, amplitude));
    EXPECT_TRUE(done.isWhole);
    EXPECT_EQ(done.ending, "the experiment ended with a steady value, behind the step and back");
    EXPECT_EQ(Changes(done.outputs), 2u);
    const auto [low, high] = std::minmax_element(done.values.begin(), done.values.end());
    EXPECT_NEAR(amplitude > 0.0 ? *high : *low, 60.0 + 1.6 * amplitude, 0.3);
    EXPECT_NEAR(done.values.back(), 60.0, 0.3);
  }
}

// What never settles ends in time, and is whole: it has stepped both ways.
TEST(Experiment, EndsAStepAfterTheLongestTime) {
  TExperimentPlan plan = Plan(false, 10.0);
  plan.longest = 100.0;
  const TDone done = Do(plan);
  EXPECT_TRUE(done.isWhole);
  EXPECT_EQ(done.ending, "the experiment ended after the longest time, 100 s");
  EXPECT_EQ(Changes(done.outputs), 2u);
  TLoop late;
  late.passed = 2;
  EXPECT_EQ(Do(plan, late).values.size() - 20, (done.values.size() - 20) / 2);
  plan.isRelay = true;
  EXPECT_FALSE(Do(plan).isWhole);
  EXPECT_EQ(Do(plan).ending, "the experiment ended after the longest time, 100 s, with 8 cycles");
}

// The output is back before the value is at the bound, as far as a dead time of two
// periods lets it.
TEST(Experiment, GivesBackBeforeABoundInEachDirection) {
  for (const bool isRelay : {true, false}) {
    for (const double amplitude : {20.0, -20.0}) {
      TExperimentPlan plan = Plan(isRelay, amplitude);
      (amplitude > 0.0 ? plan.high : plan.low) = amplitude > 0.0 ? 62.0 : 58.0;
      const TDone done = Do(plan);
      EXPECT_FALSE(done.isWhole);
      EXPECT_TRUE(done.ending.starts_with("the experiment ended before the bound: the value was ")) << done.ending;
      EXPECT_TRUE(done.ending.ends_with(amplitude > 0.0 ? "on its way to 62" : "on its way to 58")) << done.ending;
      EXPECT_EQ(Changes(done.outputs), 2u);
      std::size_t last = 0;  // row with the amplitude
      for (std::size_t i = 0; i < done.outputs.size(); ++i) last = done.outputs[i] != 25.0 ? i : last;
      EXPECT_LT(std::abs(done.values[last] - 60.0), 2.0);
      EXPECT_GE(std::abs(2.0 * done.values[last] - done.values[last - 1] - 60.0), 2.0 * 0.5);
    }
  }
}

TEST(Experiment, DoesNotBeginWhereItMayNot) {
  TLoop drifting;
  drifting.drift = 0.2;
  TExperimentPlan plan = Plan(true, 10.0);
  plan.longest = 200.0;
  EXPECT_EQ(Do(plan, drifting).ending,
            "the experiment didn't begin: the loop didn't come to rest within 200 s: wait until it has, or say "
            "--longest with more");
  EXPECT_EQ(Do(Plan(true, 30.0)).ending,
            "the experiment didn't begin: the output is 25, and an amplitude of 30 leaves its range, 0 to 100");
  plan = Plan(false, 30.0);  // a step up doesn't
  plan.high = 200.0;
  EXPECT_TRUE(Do(plan).isWhole);
  EXPECT_EQ(Do(Plan(true, 10.0), {}, 10).outputs.size(), 0u);
}

TEST(Experiment, GivesBackWhenItIsAborted) {
  const TDone done = Do(Plan(true, 10.0), {}, 100);
  EXPECT_FALSE(done.isWhole);
  EXPECT_EQ(done.ending, "the experiment ended by a test");
  EXPECT_EQ(done.outputs.back(), 25.0);
}

}  // namespace
