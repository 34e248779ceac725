// Outputs that track another value: what the law does afterwards, and who knows
// what meanwhile.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/support.h"

namespace {

using tests::CRun;
using tests::OneRegulator;

constexpr const char* kTracks = "track = hand; track_when = not run; ";

// K = q0 + q1 + q2 and gamma of the law variable: the coefficients of z^-1 to z^-4 in
//
//   (1 + a1 z^-1 + a2 z^-2)(1 - z^-1)(1 + g z^-1) + (b1 z^-1 + b2 z^-2)(q0 + q1 z^-1 + q2 z^-2)
//     = 1 + d1 z^-1 + d2 z^-2
//
// by elimination.
std::array<double, 2> PolePlacement(double a1, double a2, double b1, double b2, double ksi, double omega) {
  const double d1 = -2 * std::exp(-ksi * omega) * std::cos(omega * std::sqrt(1 - ksi * ksi));
  const double d2 = std::exp(-2 * ksi * omega);
  // Unknowns g, q0, q1, q2, and the right side.
  double m[4][5] = {
      {1, b1, 0, 0, d1 - (a1 - 1)}, {a1 - 1, b2, b1, 0, d2 - (a2 - a1)}, {a2 - a1, 0, b2, b1, a2}, {-a2, 0, 0, b2, 0}};
  for (int i = 0; i < 4; ++i) {
    for (int row = 0; row < 4; ++row) {
      if (row == i) continue;
      const double factor = m[row][i] / m[i][i];
      for (int column = 0; column < 5; ++column) m[row][column] -= factor * m[i][column];
    }
  }
  const auto unknown = [&](int i) { return m[i][4] / m[i][i]; };
  return {unknown(1) + unknown(2) + unknown(3), unknown(0)};
}

// What the law adds to the tracked u1, u2 in its first period of its own, with a
// value at rest and the error e.
double FirstMove(int law, double e, double u1, double u2) {
  constexpr double kR0 = 2, kTi = 20, kTf = 0.2 * 5;
  if (law == 5) {
    const auto [k, gamma] = PolePlacement(-0.1, -0.2, 0.1, 0.2, 0.8, 0.3);
    return k * e - gamma * (u1 - u2);
  }
  const bool lags = law == 2 || law == 4;
  return lags ? kR0 * e / (kTi * (1 + kTf)) + (u1 - u2) * kTf / (1 + kTf) : kR0 / kTi * e;
}

struct THandOver {
  int law;  // by its number
  bool trims;
  bool inverse;
  double slope;  // of what is tracked, a period
  int tracked;   // periods
};

void ExpectNoBump(const THandOver& row) {
  constexpr const char* kLawNames[] = {"classical", "classicalDelay", "takahashi", "takahashiDelay", "variable"};
  constexpr double kRange = 100;
  const std::string parameters =
      row.law == 5 ? "adaptive = true; param_1 = 0.8; param_2 = 0.3; " : "param_1 = 2; param_2 = 20; param_3 = 5; ";
  CRun run(OneRegulator("pid_regulator", std::string(row.inverse ? "inverse; " : "") + kTracks + "parameters " +
                                             parameters + "regulator_type = " + kLawNames[row.law - 1] +
                                             "; end_parameters;"));
  ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
  if (row.law == 5) run.Call("reg", "SetRegulatorType__n", {1});
  run.Call("reg", "SetOutputTrimming__l", {row.trims ? 1.0 : 0.0});
  if (row.law == 5) run.Call("reg", "SetRegulatorType__n", {5});
  run.SetValue("wish", 53);
  run.Steps(7);
  run.SetValue("run", 0);
  for (int k = 0; k < row.tracked; ++k) {
    run.SetValue("hand", 40 + row.slope * k);
    run.Steps(1);
    ASSERT_EQ(run.Value("u"), 40 + row.slope * k);
  }
  const double u1 = run.Value("u"), u2 = u1 - row.slope;
  run.SetValue("run", 1);
  run.Steps(1);
  const double sign = row.inverse ? -1 : 1;  // of the law's own direction
  EXPECT_NEAR(run.Value("u"), u1 + sign * FirstMove(row.law, 3, sign * u1, sign * u2), 1e-12 * kRange);
  EXPECT_TRUE(run.messages.empty());
}

TEST(Tracking, EndsWithoutABump) {
  for (int number = 0; number < 5 * 16; ++number) {
    const THandOver row = {number / 16 + 1, number % 2 == 0, number / 2 % 2 == 0, number / 4 % 2 == 0 ? 0.0 : 0.004,
                           number / 8 % 2 == 0 ? 2 : 3600};
    SCOPED_TRACE(testing::Message() << "law " << row.law << ", trims " << row.trims << ", inverse " << row.inverse
                                    << ", slope " << row.slope << ", for " << row.tracked);
    ExpectNoBump(row);
  }
}

TEST(Tracking, LastsTwoPeriodsAndBeginsWithStart) {
  CRun run(OneRegulator("pid_regulator", std::string(kTracks) + "start = 10 + time; parameters param_1 = 1; "
                                                                "param_2 = 10; param_3 = 0; end_parameters;"));
  run.SetValue("wish", 60);
  run.SetValue("hand", 30);
  const struct {
    double run;
    double output;
  } periods[] = {{1, 11}, {1, 12}, {1, 13}, {0, 30}, {1, 30}, {1, 31}, {0, 30}, {0, 30}, {1, 31}};
  for (const auto& period : periods) {
    run.SetValue("run", period.run);
    run.Steps(1);
    EXPECT_EQ(run.Value("u"), period.output) << run->Time();
  }
  // The element's value before the run, and limits of the pane.
  CRun own(OneRegulator("pid_regulator", "start = output; output_section range_to = 80; end_output_section;"));
  own.SetValue("u", 95);
  own.Steps(1);
  EXPECT_EQ(own.Value("u"), 80.0);
}

// What a script writes before the first action isn't where it starts from.
TEST(Tracking, StartsFromTheOutputBeforeTheRun) {
  CRun run(
      "application a period = 1; duration = 9; end_application;\n"
      "data x : real; w : real = 5; u : real = 30; end_data;\n"
      "instrument pid_regulator reg expression = x; wish_value = w; output = u; start = output; end_instrument;\n"
      "script\nat(0, function() data.u = 70 end)\nend_script;\n");
  run.Steps(1);
  EXPECT_EQ(run.Value("u"), 30.0);
}

// While it tracks, the condition counts as true: nothing is held, and `manual` has
// no part.
TEST(Tracking, IsKnownToAllButTheOwnEvent) {
  CRun run(OneRegulator("pid_regulator",
                        "track = hand; track_when = hand > 0; manual = 99; receivers = other; "
                        "parameters param_1 = 1; param_2 = 10; param_3 = 0; end_parameters;") +
           "data own : real; changed : real; end_data;\n"
           "instrument meter other expression = hand; end_instrument;\nscript\n"
           "function reg.OnOutput(u) data.own = u return 77 end\n"
           "function reg.OnOutputChange(u) data.changed = u return 88 end\nend_script;\n");
  ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
  run.SetValue("run", 0);
  run.SetValue("hand", 25);
  run.SetValue("wish", 60);
  run.Steps(3);
  EXPECT_EQ(run.Value("own"), 26.0);  // from 25 on, by the law, though the condition is false
  EXPECT_EQ(run.Value("changed"), 25.0);
  EXPECT_EQ(run.Value("u"), 25.0);
  EXPECT_EQ(run.Meter("reg").meterValue, 25.0);
  run.SetValue("hand", 0);
  run.SetValue("changed", 0);
  run.Steps(1);
  EXPECT_EQ(run.Value("own"), 99.0);  // the manual output again
  EXPECT_EQ(run.Value("changed"), 77.0);
  EXPECT_EQ(run.Value("u"), 88.0);
}

TEST(Tracking, GivesStatesAndStepsAndIsFollowed) {
  const struct {
    const char* className;
    const char* track;
    double hand;
    std::array<double, 3> written;  // on, plus, minus
  } cases[] = {{"boolean_regulator", "hand > 0", 1, {1, 0, 0}},
               {"boolean_regulator", "hand > 0", 0, {0, 0, 0}},
               {"step_regulator", "hand", 0.5, {0, 1, 0}},
               {"step_regulator", "hand", -3, {0, 0, 1}},
               {"step_regulator", "hand", 0, {0, 0, 0}}};
  for (const auto& row : cases) {
    CRun run(OneRegulator(row.className, std::string("track = ") + row.track + "; track_when = not run;"));
    ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
    run.SetValue("run", 0);
    run.SetValue("x", row.hand > 0 ? 90 : 10);  // its own decision is another
    run.SetValue("hand", row.hand);
    run.Steps(8);
    EXPECT_EQ((std::array{run.Value("on"), run.Value("plus"), run.Value("minus")}), row.written) << row.className;
  }
  CRun run(OneRegulator("pid_regulator", std::string(kTracks) + "follow; parameters param_3 = 0; end_parameters;"));
  for (const double automatic : {1, 1, 0, 0, 0}) {
    run.SetValue("wish", run.Value("wish") + 1);
    run.SetValue("run", automatic);
    run.Steps(1);
    EXPECT_EQ(run.Value("hand"), run.Value("u"));
  }
  EXPECT_EQ(run.Value("u"), 5.0);  // held from the second period on
}

}  // namespace
