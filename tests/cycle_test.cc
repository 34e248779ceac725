// A period of a pid_regulator: time, mirroring, limits, manual, events,
// receivers and blinking.
#include <gtest/gtest.h>

#include <cmath>

#include "runtime/platform/clock.h"
#include "tests/support.h"

namespace {

using runtime::kValuePane;
using runtime::kWishPane;
using tests::CRun;
using tests::OneRegulator;

// With x at 0 and the wish at 1 this law adds the seconds passed since the last
// period to its output.
const std::string kIntegrator =
    "parameters regulator_type = takahashi; param_1 = 1; param_2 = 1; param_3 = 0; end_parameters;\n";

std::string Integrator(const std::string& entries = "", const std::string& period = "1") {
  return OneRegulator("pid_regulator", kIntegrator + entries, period);
}

class CIntegrator : public CRun {
 public:
  explicit CIntegrator(const std::string& entries = "", const std::string& period = "1", const std::string& more = "")
      : CRun(Integrator(entries, period) + more) {
    EXPECT_TRUE(IsRead()) << Diagnostics();
    SetValue("x", 0.0);
    SetValue("wish", 1.0);
  }
  double Output() const { return Value("u"); }
  void At(std::uint32_t milliseconds, std::uint32_t reason = hx_vinst::kActionTimer) {
    runtime::SetClock(milliseconds);
    Object("reg").Action(reason);
  }
};

TEST(Time, IsMeasuredSinceTheLastRegulatedPeriod) {
  CIntegrator run("", "0.25");
  run.Steps(1);
  EXPECT_EQ(run.Output(), 0.25);
  run.SetValue("run", 0.0);
  run.Steps(6);
  EXPECT_EQ(run.Output(), 0.25);
  run.SetValue("run", 1.0);
  run.Steps(1);
  EXPECT_EQ(run.Output(), 0.25 + 7 * 0.25);
}

TEST(Time, SpansTheClocksRestart) {
  const struct {
    std::uint32_t before;
    std::uint32_t after;
    double passed;
  } cases[] = {
      {86399990, 5, 0.015},     {86399999, 0, 0.001}, {86399999, 86399998, 86399.999},
      {0, 86399999, 86399.999}, {5, 5, 0.0},          {1, 0, 86399.999},
  };
  for (const auto& clock : cases) {
    CIntegrator run("output_section range_to = 1e9; end_output_section;");
    run.At(1);
    run.At(clock.before);
    run.Call("reg", "SetLastOutputValue__R", {0.0});
    run.SetValue("u", 0.0);
    run.At(clock.after);
    EXPECT_EQ(run.Output(), clock.passed) << clock.before << " " << clock.after;
  }
}

TEST(Time, ThatStandsStillStopsThePeriodAfterThePanes) {
  CIntegrator run("receivers = follower;", "1", "instrument pid_regulator follower expression = u; end_instrument;");
  run.At(1000);
  ASSERT_EQ(run.Output(), 1.0);
  run.SetValue("x", 3.0);
  run.SetValue("wish", 7.0);
  run.SetValue("u", -1.0);
  for (int i = 0; i < 3; ++i) run.At(1000);
  EXPECT_EQ(run.Meter("reg", kWishPane).meterValue, 7.0);
  EXPECT_EQ(run.Meter("reg", kValuePane).meterValue, 3.0);
  EXPECT_EQ(run.Meter("reg").meterValue, 1.0);
  EXPECT_EQ(run.Output(), -1.0);
  EXPECT_EQ(run.State().activated.size(), 1u);
  // Nothing was shifted: the period before still had x at 0 for the law.
  run.At(1500);
  EXPECT_EQ(run.Output(), (0.5 * (7.0 - 3.0) + (0.0 - 3.0)) + 1.0);
}

TEST(Time, IsNotMeasuredByAnIdleCall) {
  CIntegrator run;
  hx_vinst::CInstrument& object = run.Object("reg");
  for (const std::uint32_t reason : {0x10u, 0u}) {
    object.stateWord = 0x2F;
    run.At(5000, reason);
    EXPECT_EQ(object.stateWord, 0x0Fu);
    EXPECT_EQ(run.Output(), 0.0);
    EXPECT_EQ(run.Meter("reg", kWishPane).meterValue, 0.0);
  }
  object.stateWord = 0x20;
  run.At(6000, 0x12);
  EXPECT_EQ(object.stateWord, 0x20u);
  EXPECT_EQ(run.Output(), 6.0);
}

// --- Mirroring, limits, manual ---------------------------------------------------

TEST(Output, IsMirroredAndLimited) {
  const struct {
    double from;
    double to;
    bool inverse;
    double law;
    double output;
  } cases[] = {
      {0, 100, false, 120, 100}, {0, 100, false, -30, 0},    {0, 100, false, 40, 40},   {0, 100, true, 120, 0},
      {0, 100, true, -30, 100},  {0, 100, true, 40, 60},     {100, 0, false, 150, 100}, {100, 0, false, -5, 0},
      {100, 0, false, 40, 40},   {100, 0, true, 40, 60},     {50, 50, false, 40, 50},   {50, 50, false, 60, 50},
      {-20, 60, true, 40, 0},    {-20, 60, false, -40, -20},
  };
  for (const auto& output : cases) {
    for (const bool trimming : {true, false}) {
      SCOPED_TRACE(testing::Message() << output.from << ".." << output.to << " " << output.inverse << " "
                                      << output.law);
      CIntegrator run(std::string(output.inverse ? "inverse; " : "") +
                      "output_section range_from = " + std::to_string(output.from) +
                      "; range_to = " + std::to_string(output.to) + "; end_output_section;");
      run.Call("reg", "SetOutputTrimming__l", {trimming ? 1.0 : 0.0});
      run.Call("reg", "SetParameters__RRR", {output.law, 1.0, 0.0});
      // Remembered as the law's own 0.
      run.Call("reg", "SetLastOutputValue__R", {output.inverse ? output.from + output.to : 0.0});
      run.Steps(1);
      EXPECT_EQ(run.Output(), output.output);
      EXPECT_EQ(run.Meter("reg").meterValue, output.output);
      // What the law remembers: another second adds the same.
      run.Steps(1);
      const double mirrored = output.from + output.to - output.output;
      const double remembered = !trimming ? output.law : output.inverse ? mirrored : output.output;
      const double next =
          output.inverse ? output.from + output.to - (remembered + output.law) : remembered + output.law;
      EXPECT_EQ(run.Output(),
                std::min(std::max(next, std::min(output.from, output.to)), std::max(output.from, output.to)));
    }
  }
}

TEST(Output, WithoutTrimmingUnwindsItsOwnExcess) {
  for (const bool trimming : {true, false}) {
    CIntegrator run;
    run.Call("reg", "SetOutputTrimming__l", {trimming ? 1.0 : 0.0});
    run.Call("reg", "SetParameters__RRR", {130.0, 1.0, 0.0});
    run.Steps(1);
    run.Call("reg", "SetParameters__RRR", {-20.0, 1.0, 0.0});
    run.Steps(1);
    EXPECT_EQ(run.Output(), trimming ? 80.0 : 100.0);
    run.Steps(1);
    EXPECT_EQ(run.Output(), trimming ? 60.0 : 90.0);
  }
}

TEST(Manual, IsTheOutputItselfAndTheLawGoesOnFromIt) {
  for (const std::string inverse : {"", "inverse;"}) {
    CIntegrator run("manual = hand; " + inverse);
    run.Steps(5);
    run.SetValue("run", 0.0);
    for (const double hand : {40.0, 140.0, -3.0, 70.0}) {
      run.SetValue("hand", hand);
      run.Steps(1);
      EXPECT_EQ(run.Output(), std::min(std::max(hand, 0.0), 100.0));
    }
    run.SetValue("run", 1.0);
    run.SetValue("wish", 0.0);
    run.Steps(1);
    EXPECT_EQ(run.Output(), 70.0);
  }
}

TEST(Manual, WithoutAnExpressionHoldsTheOutput) {
  for (const std::string inverse : {"", "inverse;"}) {
    CIntegrator run(inverse);
    run.Steps(5);
    const double held = run.Output();
    EXPECT_EQ(held, inverse.empty() ? 5.0 : 95.0);
    run.SetValue("run", 0.0);
    for (int i = 0; i < 8; ++i) {
      run.SetValue("x", 10.0 * i);
      run.Steps(1);
      EXPECT_EQ(run.Output(), held);
    }
  }
}

// While the condition is false the histories of wish and value stand.
TEST(Manual, LeavesTheHistoriesOfWishAndValue) {
  CIntegrator run;
  run.Steps(1);
  run.SetValue("run", 0.0);
  run.SetValue("x", 30.0);
  run.Steps(3);
  run.SetValue("run", 1.0);
  run.SetValue("x", 10.0);
  run.SetValue("wish", 20.0);
  run.Steps(1);
  EXPECT_EQ(run.Output(), (4.0 * (20.0 - 10.0) + (0.0 - 10.0)) + 1.0);
}

TEST(Law, ThatYieldsNoFiniteNumberHoldsTheOutput) {
  for (int law = 1; law <= 4; ++law) {
    CIntegrator run;
    run.Call("reg", "SetRegulatorType__n", {static_cast<double>(law)});
    run.Call("reg", "SetLastOutputValue__R", {30.0});
    for (const double wish : {1.0, 0.0, 5.0}) {
      run.SetValue("wish", wish);
      run.Call("reg", "SetParameters__RRR", {1.0, 0.0, 0.0});
      run.Steps(1);
      EXPECT_EQ(run.Output(), 30.0) << law;
    }
    run.Call("reg", "SetParameters__RRR", {0.0, 1.0, 0.0});
    run.Steps(1);
    EXPECT_EQ(run.Output(), 30.0) << law;
  }
}

TEST(Panes, OfWishAndValueLimitWhatTheLawSees) {
  CIntegrator run(
      "wish_value_section range_from = 2; range_to = 4; end_wish_value_section;"
      "value_section range_from = -1; range_to = 1; end_value_section;");
  run.SetValue("wish", 9.0);
  run.SetValue("x", -8.0);
  run.Steps(1);
  EXPECT_EQ(run.Output(), (4.0 + 1.0) + 1.0);
  run.SetValue("wish", -9.0);
  run.Steps(1);
  EXPECT_EQ(run.Output(), 6.0 + 3.0);
  EXPECT_EQ(run.Meter("reg", kWishPane).meterValue, 2.0);
  EXPECT_EQ(run.Meter("reg", kValuePane).meterValue, -1.0);
}

// --- What is timed, who is told ----------------------------------------------------

TEST(Timing, NeedsAWishAValueAndSomewhereToWrite) {
  const std::string event = "script\nfunction r.OnOutput(u) end\nend_script;\n";
  const std::string change = "script\nfunction r.OnOutputChange(u) end\nend_script;\n";
  const struct {
    std::string entries;
    std::string script;
    bool needs;
  } cases[] = {
      {"expression = x; wish_value = w; output = u;", "", true},
      {"expression = x; wish_value = w;", event, true},
      {"expression = x; wish_value = w;", change, false},
      {"expression = x; wish_value = w;", "", false},
      {"expression = x; output = u;", event, false},
      {"wish_value = w; output = u;", event, false},
      {"expression = x; wish_value = w; receivers = r; manual = w; condition = true;", "", false},
      {"", event, false},
  };
  for (const auto& timing : cases) {
    CRun run("data x : real; w : real; u : real; end_data;\ninstrument pid_regulator r " + timing.entries +
             " end_instrument;\n" + timing.script);
    ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
    EXPECT_EQ(run.Object("r").NeedsTiming() != 0, timing.needs) << timing.entries << timing.script;
  }
}

TEST(Events, SeeAndChangeTheOutput) {
  CIntegrator run("", "1",
                  "data seen : real; changes : integer; changed : real; cap : real = 3; end_data;\n"
                  "script\n"
                  "function reg.OnOutput(u) data.seen = u; return math.min(u, data.cap) end\n"
                  "function reg.OnOutputChange(u) data.changes = data.changes + 1; data.changed = u;\n"
                  "  if data.cap == 50 then return 150.0 end end\n"
                  "end_script;\n");
  run.Steps(5);
  // The law goes on counting seconds; the change is of what the event left.
  EXPECT_EQ(run.Value("seen"), 5.0);
  EXPECT_EQ(run.Output(), 3.0);
  EXPECT_EQ(run.Meter("reg").meterValue, 3.0);
  EXPECT_EQ(run.Value("changed"), 3.0);
  EXPECT_EQ(run.Value("changes"), 3.0);
  run.SetValue("cap", 50.0);
  run.Steps(1);
  EXPECT_EQ(run.Value("seen"), 6.0);
  EXPECT_EQ(run.Output(), 150.0);  // not limited again
  EXPECT_EQ(run.Meter("reg").meterValue, 150.0);
}

TEST(Events, ThatFailLeaveTheOutputAndAreReported) {
  CIntegrator run("", "1", "script\nfunction reg.OnOutput(u) error('no') end\nend_script;\n");
  run.Steps(2);
  EXPECT_EQ(run.Output(), 2.0);
  ASSERT_EQ(run.messages.size(), 2u);
  EXPECT_EQ(run.messages[0].instrument, "reg");
  EXPECT_NE(run.messages[0].text.find("no"), std::string::npos);
}

TEST(Receivers, AreActivatedByAChangeOrAlways) {
  for (const std::string always : {"", "always_activate;"}) {
    CIntegrator run(
        "receivers = first; " + always, "1",
        "data y : real; end_data;\n"
        "instrument pid_regulator first expression = y; receivers = second; always_activate; end_instrument;\n"
        "instrument boolean_regulator second expression = y; end_instrument;\n");
    run.SetValue("y", 11.0);
    run.Steps(1);  // 0 becomes 1
    EXPECT_EQ(run.Meter("first", kValuePane).meterValue, 11.0);
    EXPECT_EQ(run.Meter("second", kValuePane).meterValue, 11.0);
    run.SetValue("wish", 0.0);
    run.SetValue("u", -5.0);
    run.SetValue("y", 22.0);
    run.Steps(1);
    EXPECT_EQ(run.Output(), 1.0);  // written without a change
    EXPECT_EQ(run.Meter("second", kValuePane).meterValue, always.empty() ? 11.0 : 22.0);
  }
}

TEST(Blinking, HidesAndShowsAtTheRate) {
  CIntegrator run("blink_rate = 1000;", "0.5");
  CIntegrator steady("", "0.5");
  const int hidden[] = {0, 1, 1, 0, 0, 1, 1, 0};
  for (const int expected : hidden) {
    run.Steps(1);
    steady.Steps(1);
    EXPECT_EQ(run.Object("reg").hidden, expected);
    EXPECT_EQ(steady.Object("reg").hidden, 0);
  }
  for (const std::uint8_t phase : {2, 0}) {
    run.Object("reg").Blink(phase);
    EXPECT_EQ(run.Object("reg").hidden, phase != 0 ? 1 : 0);
  }
}

}  // namespace
