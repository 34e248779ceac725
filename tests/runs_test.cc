// Whole runs: folders with an application, its trace, its summary and a line that
// says why.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support.h"

namespace {

namespace fs = std::filesystem;

class Runs : public testing::TestWithParam<std::string> {};

std::vector<std::string> Folders() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(tests::SourcePath("tests/runs"))) {
    if (entry.is_directory()) names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST_P(Runs, GiveTheTraceExpected) {
  const std::string folder = tests::SourcePath("tests/runs/" + GetParam() + "/");
  const std::string expected = tests::ReadFile(folder + "expected.csv");
  EXPECT_GT(std::count(expected.begin(), expected.end(), '\n'), 20);
  EXPECT_FALSE(tests::ReadFile(folder + "README.md").empty());
  const tests::CFolder place;
  const std::string trace = place.Path("trace.csv");
  const tests::TOutcome outcome = tests::Loopbox("run " + folder + "application.lbx --trace " + trace);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, tests::ReadFile(folder + "summary.txt"));
  EXPECT_EQ(tests::ReadFile(trace), expected);
}

INSTANTIATE_TEST_SUITE_P(Tests, Runs, testing::ValuesIn(Folders()), [](const auto& run) { return run.param; });

}  // namespace
