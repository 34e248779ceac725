// The two-state and the incremental regulator: the band around the wish, the
// pacing of steps, and what the events see.
#include <gtest/gtest.h>

#include <random>

#include "tests/support.h"

namespace {

using runtime::kValuePane;
using tests::CRun;
using tests::OneRegulator;

const std::string kBand = "divergence_plus = 2; divergence_minus = 3; ";

using TSequence = std::vector<std::pair<double, double>>;  // value, output

struct TBandCase {
  const char* what;
  const char* className;
  std::string entries;
  TSequence sequence;  // the wish is 50
};

constexpr const char* kTwoState = "boolean_regulator";
constexpr const char* kStep = "step_regulator";

// More sequences are run against the rules below.
const TBandCase kCases[] = {
    {"hysteresis", kTwoState, kBand, {{46.9, 1}, {47, 1}, {52, 1}, {52.1, 0}, {47.5, 0}, {47, 0}, {46.9, 1}}},
    {"starts inside, inverse",
     kTwoState,
     kBand + "inverse;",
     {{50, 1}, {47, 1}, {46.9, 0}, {52, 0}, {52.1, 1}, {46, 0}}},
    {"by default no band", kTwoState, "", {{50, 0}, {49.9, 1}, {50, 1}, {50.1, 0}}},
    {"last divergence counts", kTwoState, "divergence_plus = 9;" + kBand, {{49, 0}, {46, 1}, {53, 0}}},
    {"negative", kTwoState, "divergence_plus = -5; divergence_minus = -5;", {{45, 1}, {45.1, 0}, {50, 0}}},
    {"value limited",
     kTwoState,
     kBand + "value_section range_from = 48; range_to = 51; end_value_section;",
     {{0, 0}, {100, 0}}},
    {"wish limited",
     kTwoState,
     kBand + "wish_value_section range_to = 20; end_wish_value_section;",
     {{17, 0}, {16.9, 1}, {22, 1}, {22.1, 0}}},
    {"paced", kStep, kBand + "inactive_hit = 2;", {{60, -1}, {60, 0}, {60, 0}, {46.9, 1}, {46.9, 0}, {50, 0}, {50, 0}}},
    {"on a limit", kStep, kBand + "inactive_hit = 0;", {{52, 0}, {47, 0}, {52.1, -1}, {46.9, 1}, {50, 0}}},
    {"five by default", kStep, "", {{51, -1}, {51, 0}, {51, 0}, {51, 0}, {51, 0}, {51, 0}, {51, -1}}},
    {"value limited",
     kStep,
     kBand + "inactive_hit = 0; value_section range_to = 51; end_value_section;",
     {{1000, 0}, {-1000, 1}}},
};

void ExpectOutput(const CRun& run, bool isStep, double output) {
  EXPECT_EQ(run.Meter("reg").meterValue, output);
  EXPECT_EQ(run.Value("on"), !isStep && output != 0.0 ? 1.0 : 0.0);
  EXPECT_EQ(run.Value("plus"), isStep && output == 1.0 ? 1.0 : 0.0);
  EXPECT_EQ(run.Value("minus"), output == -1.0 ? 1.0 : 0.0);
}

TEST(Band, SequencesOfValuesGiveTheirOutputs) {
  for (const TBandCase& band : kCases) {
    const bool isStep = band.className == kStep;
    CRun run(OneRegulator(
        band.className,
        "output_section range_from = 20; range_to = 70; low_limit = 3; end_output_section;" + band.entries));
    // Whatever range the definition gave.
    EXPECT_EQ(run.Meter("reg").rangeFrom, isStep ? -1.0 : 0.0);
    EXPECT_EQ(run.Meter("reg").lowLimit, isStep ? -1.0 : 0.0);
    EXPECT_EQ(run.Meter("reg").rangeTo, 1.0);
    EXPECT_EQ(run.Meter("reg").highLimit, 1.0);
    // A definition read again begins anew.
    for (const char* reading : {"first", "second"}) {
      for (std::size_t k = 0; k < band.sequence.size(); ++k) {
        SCOPED_TRACE(testing::Message() << band.className << ": " << band.what << " " << k << ", " << reading);
        run.SetValue("x", band.sequence[k].first);
        run.Steps(1);
        ExpectOutput(run, isStep, band.sequence[k].second);
      }
      ASSERT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
    }
  }
}

// Read again up to here, it is another definition: nothing of the first one is left.
TEST(Band, ADefinitionReadAgainHasNoBandOfTheOneBefore) {
  const std::string text =
      "data x : real; on : boolean; end_data;\ninstrument boolean_regulator reg expression = x; wish_value = 2; output "
      "= "
      "on; divergence_plus = 4; divergence_minus = 3; end_instrument;";
  const CRun run(text);
  EXPECT_EQ(run.Call("reg", "GetDivergencePlus__R", {0}), std::vector{4.0});
  ASSERT_TRUE(run.ReadAgain(0, static_cast<std::uint32_t>(text.find("divergence_plus"))));
  EXPECT_EQ(run.Call("reg", "GetDivergencePlus__R", {0}), std::vector{0.0});
  EXPECT_EQ(run.Call("reg", "GetDivergenceMinus__R", {0}), std::vector{0.0});
}

// --- Against a model of the rules ---------------------------------------------------

// The rules as a user would say them: which period is the next in which a step
// may be given.
struct TPacing {
  std::int64_t next = 1;
  bool stuck = false;  // after a negative number of inactive periods

  bool Active(std::int64_t period, bool regulates, std::int64_t inactive) {
    if (!regulates) {
      next = period + 2;
      stuck = false;
      return false;
    }
    const bool active = !stuck && period == next;
    if (active || stuck) {
      stuck = inactive < 0;
      next = period + inactive + 1;
    }
    return active;
  }
};

TEST(Band, FollowsTheRulesOverRandomRuns) {
  std::mt19937 random(5);
  const auto roll = [&random](int from, int to) { return std::uniform_int_distribution<int>(from, to)(random); };
  std::int64_t steps[3] = {};
  for (int trial = 0; trial < 60; ++trial) {
    const bool isStep = trial % 3 != 0;
    const bool inverse = roll(0, 1) != 0;
    int inactive = roll(-2, 6);
    double plus = roll(-3, 6);
    double minus = roll(-3, 6);
    const std::string inactiveEntry = "inactive_hit = " + std::to_string(inactive) + ";";
    CRun run(OneRegulator(isStep ? kStep : kTwoState, (isStep ? inactiveEntry : "") + (inverse ? "inverse;" : "")));
    run.Call("reg", "SetDivergencePlus__R", {plus});
    run.Call("reg", "SetDivergenceMinus__R", {minus});
    TPacing pacing;
    bool above = true;
    const int holdChance = roll(1, 20);
    for (int period = 1; period <= 400; ++period) {
      if (roll(0, 40) == 0) run.Call("reg", "SetDivergencePlus__R", {plus = roll(-3, 6)});
      if (roll(0, 40) == 0) run.Call("reg", "SetDivergenceMinus__R", {minus = roll(-3, 6)});
      if (isStep && roll(0, 20) == 0) run.Call("reg", "SetInactiveHit__R", {double(inactive = roll(-2, 6))});
      const double x = 50 + roll(-8, 8);
      const double wish = 50 + roll(-1, 1);
      const bool regulates = roll(0, holdChance) != 0;
      run.SetValue("x", x);
      run.SetValue("wish", wish);
      run.SetValue("run", regulates);
      run.Steps(1);
      const int side = x > wish + plus ? 1 : x < wish - minus ? -1 : 0;
      double expected = 0.0;
      if (isStep) {
        const bool active = pacing.Active(period, regulates, inactive);
        expected = active ? -side * (inverse ? -1 : 1) : 0;
      } else {
        if (regulates && side != 0) above = side > 0;
        expected = (regulates && !above) != inverse ? 1.0 : 0.0;
      }
      ASSERT_EQ(run.Meter("reg").meterValue, expected) << trial << " " << period;
      ExpectOutput(run, isStep, expected);
      ASSERT_FALSE(run.Value("plus") != 0.0 && run.Value("minus") != 0.0);
      if (isStep) ++steps[int(expected) + 1];
    }
  }
  EXPECT_GT(steps[0], 200);
  EXPECT_GT(steps[2], 200);
}

// --- Calls, events ---------------------------------------------------------

TEST(Band, IdleCallsPassAStepRegulatorAlone) {
  for (const bool isStep : {true, false}) {
    CRun run(OneRegulator(isStep ? kStep : kTwoState, isStep ? "inactive_hit = 1;" : ""));
    run.SetValue("x", 40.0);
    for (const std::uint32_t reason : {0x10u, 0u}) {
      run.Object("reg").stateWord |= 0x20;
      run.Object("reg").Action(reason);
      EXPECT_EQ(run.Object("reg").stateWord & 0x20, isStep ? 0u : 0x20u);
    }
    EXPECT_EQ(run.Meter("reg", kValuePane).meterValue, isStep ? 0.0 : 40.0);
    ExpectOutput(run, isStep, isStep ? 0.0 : 1.0);
    for (const double step : {1.0, 0.0, 1.0}) {
      run.Object("reg").Action(hx_vinst::kActionReceiver);
      if (isStep) ExpectOutput(run, true, step);
    }
  }
}

TEST(Band, EventsSeeAndChangeTheOutput) {
  CRun two(OneRegulator(kTwoState, "") +
           "data seen : boolean; changes : integer; end_data;\n"
           "script\nfunction reg.OnOutput(on) data.seen = on; if time() > 1.5 then return false end end\n"
           "function reg.OnOutputChange(on) data.changes = data.changes + 1 end\nend_script;\n");
  two.SetValue("x", 40.0);
  for (const double output : {1.0, 0.0, 0.0}) {
    two.Steps(1);
    ExpectOutput(two, false, output);
    EXPECT_EQ(two.Value("seen"), 1.0);
  }
  EXPECT_EQ(two.Value("changes"), 2.0);

  // What OnOutputChange leaves is written; one that fails changes nothing.
  const struct {
    const char* className;
    const char* answer;
    bool inverse;
    double output;
  } changes[] = {{kTwoState, "return false", false, 0},    {kTwoState, "return true", true, 1},
                 {kTwoState, "error('no')", false, 1},     {kTwoState, "error('no')", true, 0},
                 {kStep, "return true, false", false, -1}, {kStep, "return false, true", true, 1},
                 {kStep, "error('no')", false, 1},         {kStep, "error('no')", true, -1}};
  for (const auto& [className, answer, inverse, output] : changes) {
    CRun run(OneRegulator(className, inverse ? "inverse;" : "") + "script\nfunction reg.OnOutputChange() " + answer +
             " end\nend_script;\n");
    run.SetValue("x", 60.0);
    if (className == kTwoState) run.Steps(1);
    run.messages.clear();
    run.SetValue("x", 40.0);
    run.Steps(1);
    ExpectOutput(run, className == kStep, output);
    EXPECT_EQ(run.messages.size(), answer[0] == 'e' ? 1u : 0u) << className << inverse;
  }

  // The minus step first.
  const struct {
    const char* answer;
    double output;
  } answers[] = {{"", -1}, {"return false, true", 1}, {"return false, false", 0}, {"return true, true", 0}};
  for (const auto& [answer, output] : answers) {
    CRun step(OneRegulator(kStep, "inactive_hit = 0;") +
              "data m : boolean; p : boolean; changes : integer; end_data;\n"
              "script\nfunction reg.OnOutput(minus, plus) data.m = minus; data.p = plus; " +
              answer + " end\nfunction reg.OnOutputChange() data.changes = data.changes + 1 end\nend_script;\n");
    step.SetValue("x", 60.0);
    for (int k = 0; k < 2; ++k) {
      step.Steps(1);
      EXPECT_EQ(step.Value("m"), 1.0);
      EXPECT_EQ(step.Value("p"), 0.0);
      ExpectOutput(step, true, output);
    }
    EXPECT_EQ(step.Value("changes"), output == 0.0 ? 0.0 : 1.0);
  }
}

}  // namespace
