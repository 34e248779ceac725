// Experiments on a loop.
#include "workbench/run/experiment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>

#include "tests/support.h"

namespace {

using tests::Loopbox;
using workbench::CExperiment;
using workbench::TExperimentPlan;

// --- The experiment by itself -----------------------------------------------------------

// 0.05 of its way each period, after two of dead time, from 60 at an output of 25; its
// loop holds that output.
struct TLoop {
  double gain = 1.6;
  double drift = 0.0;  // of the output of the loop, each period
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
    tracked = experiment.Follow({loop.value, loop.output, true});
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

// --- The program -------------------------------------------------------------------------

constexpr char kOven[] =
    "// An oven.\n"
    "application oven period = 0.5; duration = 100; end_application;\n"
    "data set_point : real = 60 \"°C\"; temperature : real = 60 \"°C\"; power : real = 25 \"%\";\n"
    "     measured : real = 60 \"°C\"; on : boolean; end_data;\n"
    "process arriving = delay(power, 4); temperature' = (1.6 * arriving - (temperature - 20)) / 60;\n"
    "measured = temperature + noise(0.1); end_process;\n"
    "instrument pid_regulator heater  /* end_instrument */\n"
    "  expression = measured; wish_value = set_point; output = power; start = output;\n"
    "  wish_value_section range_from = 0; range_to = 200; end_wish_value_section;\n"
    "  value_section range_from = 0; range_to = 200; end_value_section;\n"
    "  parameters\n"
    "    regulator_type = takahashi;  // the law\n"
    "    param_1 = 1; param_2 = 40;\n"
    "  end_parameters;\n"
    "end_instrument;\n";

class TuneExperiment : public testing::Test {
 protected:
  // With a record of it, which all share.
  static void SetUpTestSuite() {
    folder = std::make_unique<tests::CFolder>();
    folder->Write("oven.lbx", kOven);
    recorded = Loopbox(OfOven("tune") + Experiment("-o " + folder->Path("relay.csv")));
  }
  static void TearDownTestSuite() { folder.reset(); }
  static std::string OfOven(const std::string& command) {
    return command + " " + folder->Path("oven.lbx") + " heater ";
  }
  static std::string Experiment(const std::string& rest) {
    return "--experiment relay --amplitude 10 --bound 30,90 --longest 1000 " + rest;
  }

  static std::unique_ptr<tests::CFolder> folder;
  static tests::TOutcome recorded;
};
std::unique_ptr<tests::CFolder> TuneExperiment::folder;
tests::TOutcome TuneExperiment::recorded;

TEST_F(TuneExperiment, RecordsAnExperimentAndReturnsWithoutABump) {
  tests::ExpectOutcome(recorded, 0, {"the experiment ended after 20 cycles\n"});
  // Of the regulated periods the first goes on from 25 %, to which the law adds what
  // its integral part makes of an error of some degrees in a period.
  const std::string bump = tests::Shell("tail -n 19 " + folder->Path("relay.csv") +
                                        " | awk -F, '{ print ($4 - 25 < 3 && 25 - $4 < 3) }' | head -n 2")
                               .output;
  EXPECT_EQ(bump, "1\n1\n");
}

TEST_F(TuneExperiment, EndsAnExperimentByTheConnections) {
  const std::string connected = folder->Write(
      "plant.lbx", tests::Replaced(kOven, "instrument pid",
                                   "connections modbus io tcp = \"127.0.0.1\", 1502; every = 0.5; timeout = 0.3;\n"
                                   "input measured from = input[0], float; end_input;\n"
                                   "output power to = holding[0], float; limit = 0, 30; needs = measured;\n"
                                   "on_loss = keep; safe = 0; end_output; end_modbus; end_connections;\n"
                                   "instrument pid"));
  const std::string command = "tune " + connected + " heater " + Experiment("-o " + folder->Path("x.csv") + " ");
  tests::ExpectOutcome(Loopbox(command), 3, {"the experiment ended since the connections hold power at 30 %\n"});
  tests::ExpectOutcome(Loopbox(tests::Replaced(command, "--amplitude 10", "--amplitude 4") + "--lose measured@60-100"),
                       3, {"the experiment ended since measured isn't good: the connection is lost, or its value\n"});
}

TEST_F(TuneExperiment, RefusesWhatIsWrong) {
  folder->Write("fan.lbx",
                "data x : real; on : boolean; end_data;\n"
                "instrument boolean_regulator fan expression = x; wish_value = 1; output = on;\n"
                "end_instrument;\n"
                "instrument pid_regulator alone expression = x; wish_value = 1; end_instrument;\n");
  const std::string experiment = "tune OVEN heater --experiment relay -o DIRx.csv ";
  const tests::TCall rows[] = {
      {"tune OVEN --experiment relay", 2, {"INSTRUMENT is required"}},
      {"tune OVEN heater", 2, {"--experiment is required"}},
      {"tune OVEN heatr --experiment relay -o DIRx.csv --amplitude 1 --bound 2,99 --longest 99",
       2,
       {"there is no instrument 'heatr'; did you mean 'heater'?"}},
      {"tune DIRfan.lbx fan --experiment relay -o DIRx.csv --amplitude 1 --bound 2,99 --longest 99",
       2,
       {"fan has no continuous output, which alone can be tuned"}},
      {"tune DIRfan.lbx alone --experiment relay -o DIRx.csv --amplitude 1 --bound 2,99 --longest 99",
       2,
       {"alone has no data element for its output, by which a record"}},
      {experiment, 2, {"--experiment needs -o, --amplitude, --bound and --longest"}},
      {experiment + "--amplitude 0", 2, {"--amplitude: expected a number other than 0, found \"0\""}},
      {experiment + "--amplitude 1 --bound 5,2 --longest 99", 2, {"expected two numbers as 20,80, the second above"}},
      {experiment + "--amplitude 1 --bound 2,5 --longest 9", 2, {"--longest: 9 s is less than 60 periods of 0.5 s"}},
      {experiment + "--amplitude 1 --bound 2,99 --longest 99 --plant", 2, {"has no connections, which --plant needs"}},
      {"tune OVEN heater --experiment relay -o OVEN --amplitude 1 --bound 2,99 --longest 99",
       1,
       {"oven.lbx: the record would overwrite a file that the run uses"}},
      {experiment + "--amplitude 30 --bound 2,99 --longest 99",
       3,
       {"and an amplitude of 30 % leaves its range, 0 to 100"}},
  };
  for (const tests::TCall& row : rows) {
    SCOPED_TRACE(row.arguments);
    const std::string arguments = tests::Replaced(row.arguments, "OVEN", folder->Path("oven.lbx"));
    tests::ExpectOutcome(Loopbox(tests::Replaced(arguments, "DIR", folder->Path(""))), row.status, row.parts);
  }
}

}  // namespace
