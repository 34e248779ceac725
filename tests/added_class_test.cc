// The class that docs/architecture.md adds, built from the page's own lines.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support.h"

namespace {

const std::string kFolder = tests::BuildPath("tests/ratio_plugin/");
const std::string kPlugin = kFolder + "ratio_plugin.so";

TEST(AddedClass, RunsByTheNumbersOfItsPage) {
  const std::string run = kFolder + "tests/runs/ratio_blend/";
  const tests::TOutcome outcome =
      tests::Loopbox("run " + run + "application.lbx --trace - --quiet --plugin " + kPlugin);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, tests::ReadFile(run + "expected.csv"));
}

TEST(AddedClass, IsDescribedByItsReference) {
  const tests::TOutcome outcome = tests::Loopbox("describe ratio_regulator --language en --plugin " + kPlugin);
  EXPECT_EQ(outcome.status, 0);
  for (const char* part : {"Ratio regulator with a continuous output", "The output is scale × wish value",
                           "SetBias( Bias : real )", "scale = 0.01;", "bias = 2;", "range_from"}) {
    EXPECT_NE(outcome.output.find(part), std::string::npos) << part << "\n" << outcome.output;
  }
}

TEST(AddedClass, Conforms) {
  const tests::TOutcome outcome = tests::Loopbox("validate " + kPlugin + " --exclude '*:[pbs]*_regulator'");
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  std::istringstream lines(outcome.output);
  std::size_t ofClass = 0;
  for (std::string line; std::getline(lines, line);) {
    ofClass += line.find("ratio_regulator") != std::string::npos;
    if (!line.starts_with("  ") || line.starts_with("  passed")) continue;
    const bool lacks =
        line.find("no pair of steps") != std::string::npos || line.find("no keyword for a file") != std::string::npos;
    EXPECT_TRUE(line.starts_with("  skipped") && lacks) << line;
  }
  EXPECT_GT(ofClass, 30u);
}

}  // namespace
