// Studies: cases that are spread as they should be, statistics against closed forms, and
// the same bits whichever way a study is run.
#include "study/study.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "study/sampling.h"
#include "tests/page_body.h"
#include "tests/support.h"

namespace {

using study::CSampling;
using study::EDistribution;
using study::ESampling;
using study::TDefinition;
using tests::Loopbox;
using tests::ReadFile;

TDefinition Uniform(ESampling sampling, std::uint64_t runs, std::size_t inputs, std::uint64_t seed) {
  TDefinition definition;
  definition.runs = runs;
  definition.seed = seed;
  definition.sampling = sampling;
  for (std::size_t i = 0; i < inputs; ++i) {
    definition.inputs.push_back({"x" + std::to_string(i), EDistribution::kUniform, 0.0, 1.0, {}});
  }
  return definition;
}

// The mean of (sin(pi x) sin(pi y) sin(pi z))^power over all cases.
double MeanOfSines(const TDefinition& definition, int power = 1) {
  const CSampling sampling(definition);
  double sum = 0.0;
  for (std::uint64_t number = 0; number < sampling.Count(); ++number) {
    double product = 1.0;
    for (std::size_t i = 0; i < definition.inputs.size(); ++i) {
      product *= std::sin(M_PI * sampling.ProbabilityOf(number, i));
    }
    sum += std::pow(product, power);
  }
  return sum / static_cast<double>(sampling.Count());
}

TEST(StudySampling, MeansAndVariancesOfAProductOfSinesAreThoseOfClosedForms) {
  // Of one sine the mean is 2/pi and the mean square 1/2. What depends on one input
  // alone, Latin hypercubes average out, but for 1/n².
  constexpr std::uint64_t kRuns = 128;
  constexpr std::uint64_t kSeeds = 400;
  const double mean = std::pow(2.0 / M_PI, 3);
  const double variance = 0.125 - mean * mean;
  const double alone = std::pow(2.0 / M_PI, 4) * (0.5 - 4.0 / (M_PI * M_PI));
  for (const auto& [sampling, expected] :
       {std::pair(ESampling::kRandom, variance), std::pair(ESampling::kLatinHypercube, variance - 3.0 * alone)}) {
    double sum = 0.0;
    double squares = 0.0;
    for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
      const double error = MeanOfSines(Uniform(sampling, kRuns, 3, seed)) - mean;
      sum += error;
      squares += error * error;
    }
    const double ofMean = expected / kRuns;
    EXPECT_NEAR(sum / kSeeds, 0.0, 3.0 * std::sqrt(ofMean / kSeeds));
    EXPECT_NEAR(squares / kSeeds / ofMean, 1.0, 0.25);
  }
  // A grid of 10 x 10 x 10 is the rule of midpoints: (pi / 20) / sin(pi / 20) too large for each.
  const double grid = MeanOfSines(Uniform(ESampling::kGrid, 1200, 3, 1));
  EXPECT_NEAR(grid, mean * std::pow(M_PI / 20.0 / std::sin(M_PI / 20.0), 3), 1e-12);
  EXPECT_NEAR(MeanOfSines(Uniform(ESampling::kGrid, 1200, 3, 1), 2), 0.125, 1e-12);
}

TEST(StudySampling, ALatinHypercubeHasOneRunInEachStratum) {
  for (const std::uint64_t runs : {1u, 2u, 5u, 64u, 1000u}) {
    const TDefinition definition = Uniform(ESampling::kLatinHypercube, runs, 2, 7);
    const CSampling sampling(definition);
    for (std::size_t input = 0; input < 2; ++input) {
      std::set<std::uint64_t> strata;
      for (std::uint64_t i = 0; i < runs; ++i) {
        strata.insert(static_cast<std::uint64_t>(sampling.ProbabilityOf(i, input) * static_cast<double>(runs)));
      }
      EXPECT_EQ(strata.size(), runs);
      EXPECT_EQ(*strata.rbegin(), runs - 1);
    }
  }
}

TEST(StudySampling, ValuesAreQuantilesAndListsAreTakenWhole) {
  EXPECT_DOUBLE_EQ(study::NormalQuantile(0.975), 1.959963984540054);
  EXPECT_DOUBLE_EQ(study::NormalQuantile(1e-10), -6.361340902404056);
  EXPECT_EQ(study::NormalQuantile(0.5), 0.0);
  TDefinition definition = Uniform(ESampling::kGrid, 12, 1, 1);
  definition.inputs[0] = {"r", EDistribution::kLogUniform, 1.0, 16.0, {}};
  definition.inputs.push_back({"law", EDistribution::kList, 0.0, 0.0, {"pi", "takahashi", "3"}});
  definition.inputs.push_back({"n", EDistribution::kNormal, 5.0, 2.0, {}});
  const CSampling sampling(definition);  // two levels of each that is no list
  EXPECT_EQ(sampling.Count(), 12u);
  EXPECT_EQ(sampling.ValuesOf(0)[1], "pi");
  EXPECT_EQ(sampling.ValuesOf(11)[1], "3");
  EXPECT_DOUBLE_EQ(std::stod(sampling.ValuesOf(0)[0]), 2.0);
  EXPECT_DOUBLE_EQ(std::stod(sampling.ValuesOf(11)[0]), 8.0);
  EXPECT_DOUBLE_EQ(std::stod(sampling.ValuesOf(1)[2]), 5.0 + 2.0 * 0.6744897501960817);
}

TEST(StudyStatistics, WilsonIntervalsAreThoseOfTheTable) {
  // Newcombe: Two-sided confidence intervals for the single proportion, 1998, table I.
  const struct {
    std::uint64_t successes, trials;
    double low, high;
  } rows[] = {{81, 263, 0.2553, 0.3662}, {15, 148, 0.0624, 0.1605}, {0, 20, 0.0, 0.1611}, {1, 29, 0.0061, 0.1718}};
  for (const auto& row : rows) {
    const auto [low, high] = study::WilsonInterval(row.successes, row.trials);
    EXPECT_NEAR(low, row.low, 5e-5);
    EXPECT_NEAR(high, row.high, 5e-5);
    const auto [otherLow, otherHigh] = study::WilsonInterval(row.trials - row.successes, row.trials);
    EXPECT_NEAR(otherLow, 1.0 - high, 1e-12);
    EXPECT_NEAR(otherHigh, 1.0 - low, 1e-12);
  }
}

TEST(StudyStatistics, RanksOfEqualValuesAreTheirMean) {
  const double rising[] = {1.0, 2.0, 4.0, 8.0};
  const double falling[] = {3.0, 1.0, 0.5, -2.0};
  const double tied[] = {1.0, 1.0, 2.0, 2.0};
  const double same[] = {5.0, 5.0, 5.0, 5.0};
  EXPECT_DOUBLE_EQ(study::RankCorrelation(rising, falling), -1.0);
  EXPECT_DOUBLE_EQ(study::RankCorrelation(rising, tied), 2.0 / std::sqrt(5.0));
  EXPECT_EQ(study::RankCorrelation(rising, same), 0.0);
}

// --- Whole studies ------------------------------------------------------------------------

// What a lag does, with numbers drawn in a script, and what goes wrong in one.
constexpr char kLag[] = R"(
constants gain = 2; end_constants;
application lag period = 1; duration = 40; end_application;
data a : real; mode : integer; x : real; y : real; z : real[2]; end_data;
process
  substeps = 1;
  x' = (gain * a - x) / 5;
end_process;
script
  every(1, function()
    data.y = math.random()
    if data.mode == 1 then error("no more") end
    if data.mode == 2 then while true do end end
  end)
end_script;
instrument pid_regulator reg
  expression = x; wish_value = a; output = z[0];
  parameters param_1 = 1; param_2 = 5; param_3 = 0; end_parameters;
end_instrument;
study right
  runs = 60; seed = 3; sampling = random;
  vary a = uniform(0, 1);
  vary gain = normal(2, 0.1);
  vary reg.param_1 = list(1, 2);
  keep max(x), final(y), mean(z[0]), reg.iae;
  require max(x) < 1 and not (reg.ise > 1e9 or min(x) != min(x));
end_study;
study unsettled
  runs = 50; seed = 4; sampling = random;
  vary a = uniform(0, 1);
  vary reg.param_1 = list(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13);
  vary mode = list(0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1);
  keep reg.iae, final(x), reg.settling, max(z[1]);
  require final(x) < 0.8;
end_study;
study wrong
  sampling = grid;
  vary mode = list(0, 1, 0, 2, 0);
  keep final(x);
end_study;
)";

class Study : public testing::Test {
 protected:
  // Its output, and that it ended so.
  std::string Run(const std::string& arguments, int status) const {
    const tests::TOutcome outcome = Loopbox("study " + arguments);
    EXPECT_EQ(outcome.status, status) << arguments << "\n" << outcome.output;
    return outcome.output;
  }
  const tests::CFolder folder;
  const std::string file = folder.Write("lag.lbx", kLag);
};

TEST_F(Study, PartsJoinToWhatARunHereGives) {
  const std::string here = folder.Path("here");
  const std::string parts = folder.Path("parts");
  const std::string told = Run(file + " right --jobs 2 -o " + here + " --report " + folder.Path("r.html"), 0);
  tests::ExpectParts(told, {"right: 60 runs", "reg.iae", "meet what is required: ", "largest max(x)"});
  tests::ExpectParts(ReadFile(folder.Path("r.html")),
                     {"cloud-0", "bars-3", "\"curves\":[{\"name\":\"worst (", "\"axes\":[{\"name\":\"a\",\"low\":0.0",
                      "\"marks\":[[1.0,\"1\"],[2.0,\"2\"]]"});
  Run("plan " + file + " right -o " + parts + " --chunk 20 --for parallel", 0);
  Run("run " + parts + " --cases 40-99 --jobs 1", 0);
  tests::ExpectParts(Run("merge " + parts, 3), {"missing cases 0-39"});
  // The others by GNU parallel, one of whose tasks is killed at first.
  const std::string log = parts + "/parallel.log";
  const std::string work = "sh " + parts + "/parallel.sh --jobs 2 2>&1";
  folder.Write("killed", "#!/bin/sh\ncase $* in *' 20-39'*) kill -9 $$ ;; esac\nexec " + tests::BuildPath("loopbox") +
                             " \"$@\"\n");
  std::filesystem::permissions(folder.Path("killed"), std::filesystem::perms::owner_all);
  EXPECT_NE(tests::Shell("LOOPBOX=" + folder.Path("killed") + " " + work).status, 0);
  tests::ExpectParts(Run("merge " + parts, 3), {"missing cases 20-39"});
  const tests::TOutcome again = tests::Shell("LOOPBOX=" + tests::BuildPath("loopbox") + " " + work);
  EXPECT_EQ(again.status, 0) << again.output << ReadFile(log);
  tests::ExpectParts(Run("merge " + parts, 0), {"gave the same bits"});
  for (const char* name : {"/cases.csv", "/results.csv", "/failures.csv"}) {
    EXPECT_EQ(ReadFile(parts + name), ReadFile(here + name)) << name;
  }
  EXPECT_TRUE(
      ReadFile(here + "/results.csv").starts_with("case,max(x),final(y),mean(z[0]),reg.iae,reg.ise,min(x)\n0,"));
}

TEST_F(Study, TellsAllOnItsPage) {
  for (const auto& [name, status] : {std::pair("right", 0), std::pair("unsettled", 3)}) {
    const tests::TOutcome outcome =
        tests::Shell("cd " + folder.Path("") + " && " + tests::BuildPath("loopbox") + " study lag.lbx " + name +
                     " --jobs 1 -o " + name + " --report p.html");
    EXPECT_EQ(outcome.status, status) << outcome.output;
    const std::string page = ReadFile(folder.Path("p.html"));
    tests::ExpectParts(page, {"<html lang=\"en\">", "<title>" + std::string(name) + "</title>",
                              ReadFile(tests::SourcePath("workbench/report/study_report.js"))});
    EXPECT_EQ(tests::PageBody(page), ReadFile(tests::SourcePath("tests/pages/study_" + std::string(name) + ".html")));
  }
}

TEST_F(Study, ARunAloneGivesTheBitsThatItGaveInTheStudy) {
  const std::string here = folder.Path("here");
  const std::string told = Run(file + " right -o " + here, 0);
  const std::size_t at = told.find("loopbox run ");
  const std::string command = told.substr(at, told.find('\n', at) - at);
  const std::size_t before = told.rfind('\n', at) + 1;
  const std::string number = told.substr(before, told.find(':', before) - before);
  Loopbox(tests::Replaced(command, "loopbox ", "") + " --quiet --trace " + folder.Path("t.csv"));
  // The last number that was drawn is the second figure, as it stands in the trace.
  const std::string trace = ReadFile(folder.Path("t.csv"));
  const std::string row = trace.substr(trace.rfind('\n', trace.size() - 2) + 1);
  const std::string results = ReadFile(here + "/results.csv");
  const std::string result = results.substr(results.find("\n" + number.substr(number.find_first_not_of(' ')) + ","));
  const std::size_t second = result.find(',', result.find(',') + 1) + 1;
  const std::string drawn = result.substr(second, result.find(',', second) - second);
  EXPECT_NE(row.find("," + drawn + ","), std::string::npos) << row << result.substr(0, 200);
}

TEST_F(Study, WhatFailsIsCountedAndNamedAndTheStudyGoesOn) {
  const std::string told = Run(file + " wrong --jobs 1", 3);
  tests::ExpectParts(
      told, {"wrong: 5 runs", "failed: 2", "1: t=1 s script: ", "no more", "3: t=1 s script: ", "final(x)  3 "});
}

TEST_F(Study, SaysWhatIsWrong) {
  // What the block itself may not say stands in definition_errors.txt.
  const auto text = [&](const std::string& block) {
    return folder.Write("w.lbx", std::string(kLag).substr(0, std::string(kLag).find("study right")) + "study s\n" +
                                     block + "\nend_study;\n");
  };
  const std::pair<std::string, std::string> rows[] = {
      {"runs = 4; vary nothing = uniform(0, 1); keep final(x);", "nothing=0."},
      {"runs = 4; vary reg.nothing = list(1); keep final(x);", "its definition has no 'nothing'"},
  };
  for (const auto& [block, message] : rows) tests::ExpectParts(Run(text(block), 1), {message});
  tests::ExpectParts(Run(file, 1), {"has several studies: name one of right, unsettled, wrong"});
  tests::ExpectParts(Run(file + " left", 1), {"has no study 'left'; there is right, unsettled, wrong"});
  Run("plan " + file + " right -o " + folder.Path("p"), 0);
  tests::ExpectParts(Run("plan " + file + " right -o " + folder.Path("p"), 1), {"has a plan already"});
  folder.Write("p/application.lbx", tests::Replaced(ReadFile(folder.Path("p/application.lbx")), "/ 5;", "/ 6;"));
  tests::ExpectParts(Run("run " + folder.Path("p"), 1), {"the plan was made with another text"});
}

TEST_F(Study, APluginThatCrashesOrForgetsIsFoundOut) {
  const std::string loop = folder.Write("s.lbx", R"(application s period = 1; duration = 5; end_application;
    data x : real; u : real; end_data;
    instrument pid_regulator reg expression = x; wish_value = 10; output = u; end_instrument;
    study huge sampling = grid; vary x = list(0, 1, 1e300, 2); keep final(x); end_study;
    study many runs = 101; vary x = uniform(0, 1); keep final(u); end_study;)");
  const auto with = [](const char* fault) { return " --plugin " + tests::BuildPath("tests/regulator_") + fault; };
  tests::ExpectParts(Run(loop + " huge" + with("crashes_on_huge.so"), 3),
                     {"failed: 1\n  2: crashed by signal 4", "final(x)  3 "});
  // One that keeps something from run to run.
  const std::string plan = folder.Path("forgets");
  Run("plan " + loop + " many -o " + plan + with("forgets_state.so"), 0);
  Run("run " + plan + " --jobs 1" + with("forgets_state.so"), 0);
  tests::ExpectParts(Run("merge " + plan + with("forgets_state.so"), 3), {"these cases gave other bits: 100"});
}

// A figure that depends on the input a, and crashes, hangs or ends the program from some
// values of it on.
class CFaultyMeasure final : public study::CMeasure {
 public:
  explicit CFaultyMeasure(const runtime::CApplication& theApplication) : application(theApplication) {}
  void Observe() override {
    const double mode = application.ElementValue(1, 0);
    if (mode == 1.0) raise(SIGKILL);
    while (mode == 2.0) usleep(1000);
    if (mode == 3.0) _exit(7);
  }
  double Figure(std::size_t) const override { return application.ElementValue(1, 0); }

 private:
  const runtime::CApplication& application;
};

TEST_F(Study, ACrashCostsOneCase) {
  folder.Write("c.lbx",
               tests::Replaced(tests::Replaced(std::string(kLag).substr(0, std::string(kLag).find("study right")),
                                               "if data.mode == 1 then error(\"no more\") end", ""),
                               "if data.mode == 2 then while true do end end", "") +
                   "study s sampling = grid; vary mode = list(0, 1, 1, 4, 2, 3, 5); keep reg.iae; end_study;\n");
  const study::TSite site = {tests::Plugin(), tests::BuildPath("loopbox"),
                             [](const auto&) { return std::vector<std::string>{"iae"}; },
                             [](const runtime::CApplication& application, const auto&) {
                               return std::make_unique<CFaultyMeasure>(application);
                             }};
  std::vector<runtime::TDiagnostic> found;
  std::string error;
  runtime::TReadOptions reading;
  reading.path = folder.Path("c.lbx");
  auto plan = study::ReadStudy(site, reading, "", &found, &error);
  ASSERT_TRUE(plan) << error;
  ASSERT_TRUE(study::WritePlan(site, &*plan, folder.Path("c"), &error)) << error;
  study::TEffort effort;
  effort.limit = 0.5;
  EXPECT_EQ(study::RunParts(site, *plan, {0, 6}, effort, &error), study::ERunning::kDone) << error;
  std::vector<study::TRange> missing;
  ASSERT_TRUE(study::Merge(*plan, &missing, &error)) << error;
  EXPECT_EQ(ReadFile(folder.Path("c/results.csv")), "case,reg.iae\n0,0\n1,\n2,\n3,4\n4,\n5,\n6,5\n");
  EXPECT_EQ(ReadFile(folder.Path("c/failures.csv")),
            "case,failure\n1,crashed by signal 9\n2,crashed by signal 9\n4,not done in 0.5 s\n"
            "5,ended the program with status 7\n");
  study::TStatistics statistics;
  ASSERT_TRUE(study::StatisticsOf(*plan, &statistics, &error)) << error;
  EXPECT_EQ(statistics.failed, 4u);
  EXPECT_EQ(statistics.figures[0].quantiles, (std::array{0.0, 0.0, 4.0, 5.0, 5.0, 5.0}));
  EXPECT_EQ(statistics.worst[0].number, 6u);
}

}  // namespace
