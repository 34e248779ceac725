// Warm starts as a regulator takes them, and processes as a loop sees them.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support.h"
#include "tuning/pulse_response.h"
#include "tuning/warm_start.h"
#include "workbench/run/linearisation.h"

namespace {

struct TWarmRow {
  tuning::TModel model;
  double period;
};
// First order, a dead time of a fraction of the period, complex poles, integrating, answering the other way.
constexpr TWarmRow kStartRows[] = {{{.k = 0.1, .eps = 0.1}, 1},
                                   {{.k = 0.05, .L = 3.3, .tau = 2, .eps = 0.05, .T3 = 1}, 2},
                                   {{.k = 0.5, .tau = 5.5, .eps = 0.5}, 2},
                                   {{.k = 0.02, .L = 1, .tau = 3}, 0.5},
                                   {{.k = -0.2, .tau = 2.5, .eps = 0.1}, 1}};

// A regulator that begins with it; its panes bound nothing, and no error begins identification.
tests::CRun BegunWarm(const tests::CFolder& folder, const tuning::TWarmStart& start, double period) {
  folder.Write("reg.par", ParameterFile(start));
  const std::string wide = "range_from = -1e6; range_to = 1e6; end_";
  return tests::CRun(folder, "test.lbx",
                     tests::OneRegulator("pid_regulator",
                                         "wish_value_section " + wide + "wish_value_section; value_section " + wide +
                                             "value_section; output_section " + wide + "output_section; parameters " +
                                             WarmParameters(start, "reg.par") + " end_parameters;",
                                         std::to_string(period)));
}

TEST(WarmStarts, YieldTheParametersThatWereChosen) {
  for (const TWarmRow& row : kStartRows) {
    for (const tuning::ELaw law : {tuning::ELaw::kClassical, tuning::ELaw::kClassicalDelay, tuning::ELaw::kTakahashi,
                                   tuning::ELaw::kTakahashiDelay}) {
      SCOPED_TRACE(testing::Message() << row.model.k << ' ' << LawName(law));
      const auto start = tuning::WarmStart({row.model}, {.law = law, .period = row.period});
      ASSERT_TRUE(start);
      EXPECT_LE(start->ms, 1.85);
      const tests::CFolder folder;
      tests::CRun run = BegunWarm(folder, *start, row.period);
      run.Steps(1);
      const std::vector<double> found = run.Call("reg", "GetParameters__RRR", {0, 0, 0});
      EXPECT_NEAR(found[0], start->controller.r0, 1e-9 * found[0]);
      EXPECT_NEAR(found[1], start->controller.tI, 1e-9 * found[1]);
      EXPECT_NEAR(found[2], start->controller.tD, 1e-9 * found[2]);
      EXPECT_TRUE(run.messages.empty());
    }
  }
}

TEST(WarmStarts, PlaceThePolesThatWereChosen) {
  for (const TWarmRow& row : kStartRows) {
    const auto start = tuning::WarmStart({row.model}, {.period = row.period});
    ASSERT_TRUE(start);
    const tuning::TSampledLaw law = Sample(*start, row.period);
    EXPECT_LE(std::abs(law.rest), 0.9);
    const tests::CFolder folder;
    tests::CRun run = BegunWarm(folder, *start, row.period);
    run.SetValue("wish", 5);
    double u[3] = {};
    double y[3] = {};
    for (int k = 0; k < 20; ++k) {
      y[0] = k % 7 - 3.0;
      run.SetValue("x", y[0]);
      run.Steps(1);
      u[0] = law.wish[0] * 5 - law.denominator[1] * u[1] - law.denominator[2] * u[2];
      for (int i = 0; i < 3; ++i) u[0] -= law.value[i] * y[i];
      ASSERT_NEAR(run.Value("u"), u[0], 1e-7 * (1 + std::abs(u[0]))) << row.model.k << " period " << k;
      for (int i = 2; i > 0; --i) u[i] = u[i - 1];
      for (int i = 2; i > 0; --i) y[i] = y[i - 1];
    }
  }
}

// The more models, and the less noise, the more careful it is.
TEST(WarmStarts, HoldForTheWholeSet) {
  const tuning::TModel nominal = {.k = 0.1, .L = 1, .eps = 0.1};
  const tuning::TModel later = {.k = 0.13, .L = 2, .eps = 0.1};
  for (const std::optional<tuning::ELaw> law :
       {std::optional(tuning::ELaw::kTakahashi), std::optional<tuning::ELaw>()}) {
    const auto bold = tuning::WarmStart({nominal}, {.law = law, .period = 1});
    const auto safe = tuning::WarmStart({nominal, later}, {.law = law, .period = 1});
    const auto quiet = tuning::WarmStart({nominal}, {.law = law, .period = 1, .greatestNoiseGain = 0.7});
    ASSERT_TRUE(bold && safe && quiet);
    const auto lawOf = [](const tuning::TWarmStart& start) {
      return start.law ? Sample(start.controller) : Sample(start, 1);
    };
    const tuning::CFrequencyResponse worst(Sample(later, 1));
    EXPECT_GT(worst.Sensitivity(lawOf(*bold)), 2);
    EXPECT_LE(worst.Sensitivity(lawOf(*safe)), 2);
    EXPECT_GT(NoiseGain(lawOf(*bold), Sample(nominal, 1)), 0.7);
    EXPECT_LE(NoiseGain(lawOf(*quiet), Sample(nominal, 1)), 0.7);
  }
}

struct TLoopProcess {
  const char* name;
  const char* process;
  double at;  // s
  tuning::TModel model;
  double off = 1e-6;
};
// What is late comes within a substep. The valve's flow is u^2/100: a gain of u/50 at u, which stands at 20 and at 60.
constexpr TLoopProcess kLoopProcesses[] = {
    {"dead time", "late = delay(u, 2.5); y' = (late - y) / 20;", 40, {.k = 0.05, .L = 2.5, .eps = 0.05}, 5e-4},
    {"noise", "y1' = (u - y1) / 5; y = y1 + noise(0.3);", 40, {.k = 0.2, .eps = 0.2}},
    {"integrating", "y1' = (u - y1) / 3; y' = 0.02 * (y1 - 20);", 40, {.k = 0.02, .tau = 3}},
    {"a valve at 20", "y' = (u * u / 100 - y) / 5;", 40, {.k = 0.08, .eps = 0.2}},
    {"a valve at 60", "y' = (u * u / 100 - y) / 5;", 80, {.k = 0.24, .eps = 0.2}},
    {"complex poles", "y1' = 0.09 * (u - y) - 0.18 * y1; y' = y1;", 40, {.k = 0.5, .tau = 1 / 0.18, .eps = 0.5}},
};

TEST(Linearisation, FindsTheProcessRoundItsState) {
  for (const TLoopProcess& row : kLoopProcesses) {
    SCOPED_TRACE(row.name);
    const tests::CFolder folder;
    const std::string path = folder.Write(
        "test.lbx", std::string("application one period = 0.5; end_application;\n"
                                "data u : real; y : real; y1 : real; end_data; process ") +
                        row.process +
                        " end_process;\n"
                        "instrument pid_regulator reg expression = y; wish_value = 20; output = u; condition = false;\n"
                        "manual = if(time < 60, 20, 60); end_instrument;\n");
    runtime::TReadOptions options;
    options.path = path;
    std::string error;
    const auto found = workbench::Linearised(options, tests::Plugin(), 0, row.at, &error);
    ASSERT_TRUE(found) << error;
    std::vector<double> pulse(200);
    pulse[0] = 1;
    const std::vector<double> answer = Simulate(*found, pulse);
    const std::vector<double> expected = Simulate(Sample(row.model, 0.5), pulse);
    for (std::size_t k = 0; k < pulse.size(); ++k) ASSERT_NEAR(answer[k], expected[k], row.off) << k;
    EXPECT_EQ(found->denominator.back() == -1, row.model.eps == 0);
  }
}

TEST(Linearisation, SaysWhyThereIsNone) {
  const tests::CFolder folder;
  runtime::TReadOptions options;
  options.path = folder.Write("test.lbx", tests::OneRegulator("pid_regulator", ""));
  std::string error;
  EXPECT_FALSE(workbench::Linearised(options, tests::Plugin(), 0, 5, &error));
  EXPECT_EQ(error, "its value doesn't answer its output");
  std::vector<double> ramp;
  for (int k = 0; k < 200; ++k) ramp.push_back(k);
  EXPECT_FALSE(tuning::FromPulse(ramp, 1));
}

}  // namespace
