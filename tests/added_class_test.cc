// The class that docs/architecture.md adds, built from the page's own lines.
#include <gtest/gtest.h>

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
  tests::ExpectOutcome(tests::Loopbox("describe ratio_regulator --language en --plugin " + kPlugin), 0,
                       {"Ratio regulator with a continuous output", "The output is scale × wish value",
                        "SetBias( Bias : real )", "scale = 0.01;", "bias = 2;", "range_from"});
}

}  // namespace
