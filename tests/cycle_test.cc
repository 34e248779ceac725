// A period of a pid_regulator: time, mirroring, limits, manual, events,
// receivers and blinking.
#include <gtest/gtest.h>

#include <array>
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

class CIntegrator : public CRun {
 public:
  explicit CIntegrator(const std::string& entries = "", const std::string& period = "1", const std::string& more = "")
      : CRun(OneRegulator("pid_regulator", kIntegrator + entries, period) + more) {
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

TEST(Cycle, TimeSpansTheClocksRestart) {
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

TEST(Cycle, TimeBeginsAnewWithADefinition) {
  CIntegrator run;
  run.At(1000);
  run.Call("reg", "SetOutputTrimming__l", {0.0});
  runtime::SetClock(3000);
  ASSERT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
  run.At(3500);
  EXPECT_EQ(run.Output(), 0.5);
  // The output is trimmed again.
  run.Call("reg", "SetParameters__RRR", {130.0, 1.0, 0.0});
  run.At(4500);
  run.Call("reg", "SetParameters__RRR", {-20.0, 1.0, 0.0});
  run.At(5500);
  EXPECT_EQ(run.Output(), 80.0);
}

TEST(Cycle, ADefinitionReadAgainHoldsNothingOfTheOneBefore) {
  const std::string text =
      "data x : real; u : real[3]; i : real; c : boolean; end_data;\n"
      "instrument pid_regulator reg expression = x; wish_value = x + i; condition = c; manual = i;\n"
      "parameters file_name = \"reg.par\"; end_parameters; output = u[i]; receivers = m; end_instrument;\ninstrument "
      "meter m end_instrument;";
  CRun run(text);
  const hx_vinst::THostPart& held = *run.Object("reg").host;
  const std::array before{held.expressions.size(), held.receiverLists.size()};
  ASSERT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
  EXPECT_EQ((std::array{held.expressions.size(), held.receiverLists.size()}), before);
  EXPECT_EQ(run.State().instruments[0].receivers.size(), 1u);
  EXPECT_EQ(run.State().instruments[0].files.size(), 1u);
  // Its output's item is the one that the index tells now; without an output it has none.
  run.SetValue("u", 7.0, 2);
  run.SetValue("i", 2.0);
  EXPECT_EQ(run.Instrument("reg").OutputElement(), 7.0);
  ASSERT_TRUE(run.ReadAgain(0, static_cast<std::uint32_t>(text.find("output ="))));
  EXPECT_EQ(run.Instrument("reg").OutputElement(), std::nullopt);
}

// A host may take no texts of what is wrong.
TEST(Cycle, ADefinitionIsReadWithoutRoomForErrors) {
  for (const std::string& className : tests::ClassNames()) {
    const std::string text = OneRegulator(className, "value_section low_limit = 1; end_value_section;");
    const CRun run(text);
    runtime::TInstrumentState& reg = run.State().instruments[0];
    EXPECT_TRUE(runtime::ReadDefinition(run.State(), reg, reg.end, {0, nullptr, 0, nullptr}));
    const auto inside = static_cast<std::uint32_t>(text.find("end_value_section"));
    EXPECT_FALSE(runtime::ReadDefinition(run.State(), reg, inside, {0, nullptr, 0, nullptr}));
  }
}

TEST(Cycle, TimeThatStandsStillStopsThePeriodAfterThePanes) {
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

TEST(Cycle, TimeIsNotMeasuredByAnIdleCall) {
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

TEST(Cycle, OutputIsMirroredAndLimited) {
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
      // What the law remembers: another second takes half of it away.
      run.Call("reg", "SetParameters__RRR", {-0.5 * output.law, 1.0, 0.0});
      run.Steps(1);
      const double mirrored = output.from + output.to - output.output;
      const double remembered = !trimming ? output.law : output.inverse ? mirrored : output.output;
      const double after = remembered - 0.5 * output.law;
      const double next = output.inverse ? output.from + output.to - after : after;
      EXPECT_EQ(run.Output(),
                std::min(std::max(next, std::min(output.from, output.to)), std::max(output.from, output.to)));
    }
  }
}

TEST(Cycle, ManualIsTheOutputItselfAndTheLawGoesOnFromIt) {
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

// The law remembers the hand's value, not the limited one.
TEST(Cycle, ManualWithoutTrimmingIsRememberedWhole) {
  CIntegrator run("manual = hand;");
  run.Call("reg", "SetOutputTrimming__l", {0.0});
  run.SetValue("run", 0.0);
  run.SetValue("hand", 140.0);
  run.Steps(1);
  EXPECT_EQ(run.Output(), 100.0);
  run.SetValue("run", 1.0);
  run.Call("reg", "SetParameters__RRR", {-60.0, 1.0, 0.0});
  run.Steps(1);
  EXPECT_EQ(run.Output(), 140.0 - 120.0);
}

TEST(Cycle, ManualWithoutAnExpressionHoldsTheOutput) {
  for (const std::string inverse : {"", "inverse;"}) {
    CIntegrator run(inverse);
    run.Steps(5);
    run.SetValue("run", 0.0);
    for (const double x : {10.0, 70.0, 0.0}) {
      run.SetValue("x", x);
      run.Steps(1);
      EXPECT_EQ(run.Output(), inverse.empty() ? 5.0 : 95.0);
    }
  }
}

// While the condition is false the histories of wish and value stand.
TEST(Cycle, ManualLeavesTheHistoriesOfWishAndValue) {
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

TEST(Cycle, LawIsTheOneNamed) {
  const struct {
    const char* name;
    const char* parameters;
    double output;
  } laws[] = {{"classical", "", 30.0},
              {"takahashi", "", 10.0},
              {"classicalDelay", "", 28.333333333333336},
              {"takahashiDelay", "", 8.333333333333334},
              {"variable", "adaptive = true;", 13.319213363124266},
              {"variable", "adaptive = true; param_1 = 0.7; param_2 = 0.5;", 5.870209053630981}};
  for (const auto& [name, parameters, output] : laws) {
    CRun run(OneRegulator("pid_regulator",
                          std::string("parameters regulator_type = ") + name + "; " + parameters + " end_parameters;"));
    run.SetValue("x", 0.0);
    run.SetValue("wish", 10.0);
    run.Steps(1);
    EXPECT_NEAR(run.Value("u"), output, 2e-15) << name;
  }
}

TEST(Cycle, LawThatYieldsNoFiniteNumberHoldsTheOutput) {
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

TEST(Cycle, PanesOfWishAndValueLimitWhatTheLawSees) {
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
  EXPECT_EQ(run.Instrument("reg").Pane(kWishPane).measured, -9.0);
  EXPECT_EQ(run.Instrument("reg").Pane(kValuePane).measured, -8.0);
  run.SetValue("wish", 2.0);  // the end itself, which isn't cut
  run.Steps(1);
  EXPECT_EQ(run.Instrument("reg").Pane(kWishPane).measured, 2.0);
  // Of a reversed pane the end named last comes first.
  CIntegrator reversed("wish_value_section range_from = 4; range_to = 2; end_wish_value_section;");
  for (const double wish : {3.0, 9.0, 1.0}) {
    reversed.SetValue("wish", wish);
    reversed.Steps(1);
    EXPECT_EQ(reversed.Meter("reg", kWishPane).meterValue, wish > 2.0 ? 2.0 : 4.0);
  }
}

// --- What is timed, who is told ----------------------------------------------------

TEST(Cycle, TimingNeedsAWishAValueAndSomewhereToWrite) {
  const struct {
    const char* classes;  // by their first letters
    std::string entries;
    std::string event;
    bool needs;
  } cases[] = {
      {"p", "expression = x; wish_value = w; output = u;", "", true},
      {"b", "expression = x; wish_value = w; output = b;", "", true},
      {"s", "expression = x; wish_value = w; output_plus = b;", "", true},
      {"s", "expression = x; wish_value = w; output_minus = b;", "", true},
      {"pbs", "expression = x; wish_value = w;", "OnOutput", true},
      {"pbs", "expression = x; wish_value = w;", "OnOutputChange", false},
      {"pbs", "expression = x; wish_value = w; receivers = r; condition = true;", "", false},
      {"p", "expression = x; output = u;", "OnOutput", false},
      {"b", "wish_value = w; output = b;", "OnOutput", false},
      {"s", "wish_value = w; output_plus = b;", "OnOutput", false},
      {"pbs", "", "OnOutput", false},
  };
  for (const auto& timing : cases) {
    for (const std::string& name : tests::ClassNames()) {
      if (std::string_view(timing.classes).find(name[0]) == std::string_view::npos) continue;
      const CRun run("data x : real; w : real; u : real; b : boolean; end_data;\ninstrument " + name + " r " +
                     timing.entries + " end_instrument;\n" +
                     (timing.event.empty() ? "" : "script\nfunction r." + timing.event + "() end\nend_script;\n"));
      EXPECT_EQ(run.Object("r").NeedsTiming() != 0, timing.needs) << name << timing.entries << timing.event;
    }
  }
}

TEST(Cycle, EventsSeeAndChangeTheOutput) {
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

// A long message is cut.
TEST(Cycle, EventsThatFailLeaveTheOutput) {
  CIntegrator run("inverse;", "1",
                  "script\nfunction reg.OnOutputChange(u) error(string.rep('x', 300)) end\nend_script;\n");
  run.Steps(1);
  EXPECT_EQ(run.Output(), 99.0);
  ASSERT_EQ(run.messages.size(), 1u);
  EXPECT_EQ(run.messages[0].text.size(), 127u);
}

TEST(Cycle, ReceiversAreActivatedByAChangeOrAlways) {
  const struct {
    const char* className;
    const char* entries;
    double values[4];
    bool changes[4];
  } cases[] = {{"pid_regulator", "", {50, 40, 45, 60}, {false, true, false, true}},
               {"boolean_regulator", "", {50, 40, 40, 60}, {false, true, false, true}},
               {"step_regulator", "inactive_hit = 0;", {50, 40, 50, 60}, {false, true, true, true}}};
  for (const auto& receiver : cases) {
    for (const std::string always : {"", "always_activate;"}) {
      const bool isPid = receiver.className == std::string("pid_regulator");
      CRun run(OneRegulator(receiver.className,
                            "receivers = follower, second; " + always + receiver.entries + (isPid ? kIntegrator : "")) +
               "data order : integer; end_data;\nscript\n"
               "function follower.OnOutput() data.order = data.order * 10 + 1 end\n"
               "function second.OnOutput() data.order = data.order * 10 + 2 end\nend_script;\n"
               "instrument pid_regulator second expression = hand; end_instrument;\n"
               "instrument pid_regulator follower expression = hand; end_instrument;\n");
      double seen = 0.0;
      for (int k = 0; k < 4; ++k) {
        run.SetValue("x", receiver.values[k]);
        run.SetValue("hand", k + 1.0);
        run.SetValue("u", -5.0);
        run.Steps(1);
        EXPECT_EQ(run.Value("u") == -5.0, !isPid);  // written without a change
        const bool activated = receiver.changes[k] || !always.empty();
        if (activated) seen = k + 1.0;
        EXPECT_EQ(run.Value("order"), activated ? 12.0 : 0.0);
        run.SetValue("order", 0.0);
        EXPECT_EQ(run.Meter("follower", kValuePane).meterValue, seen) << receiver.className << always << k;
      }
    }
  }
}

TEST(Cycle, BlinkingHidesAndShowsAtTheRate) {
  CIntegrator rounded("blink_rate = 1001;", "1.001");  // 1000.9999999999999 ms
  rounded.Steps(1);
  EXPECT_EQ(rounded.Object("reg").hidden, 1);
  const struct {
    const char* entry;
    const char* period;
    int hidden[8];
  } rates[] = {{"blink_rate = 1000;", "0.5", {0, 1, 1, 0, 0, 1, 1, 0}},
               {"blink_rate = 1;", "0.001", {1, 0, 1, 0, 1, 0, 1, 0}},
               {"", "0.5", {}}};
  // Each instrument at its own.
  CIntegrator both("blink_rate = 1000;", "0.5",
                   "\ninstrument pid_regulator fast expression = x; wish_value = wish; output = v; " +
                       std::string(kIntegrator) + "blink_rate = 500; end_instrument; data v : real; end_data;");
  for (int k = 1; k <= 4; ++k) {
    both.Steps(1);
    EXPECT_EQ(both.Object("reg").hidden, k / 2 % 2) << k;
    EXPECT_EQ(both.Object("fast").hidden, k % 2) << k;
  }
  for (const auto& [entry, period, hidden] : rates) {
    CIntegrator run(entry, period);
    for (const int expected : hidden) {
      run.Steps(1);
      EXPECT_EQ(run.Object("reg").hidden, expected) << entry;
    }
    for (const std::uint8_t phase : {2, 0}) {
      run.Object("reg").Blink(phase);
      EXPECT_EQ(run.Object("reg").hidden, phase != 0 ? 1 : 0);
    }
  }
}

}  // namespace
