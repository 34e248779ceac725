// What is doubtful about how a process is integrated.
#include <gtest/gtest.h>

#include "tests/support.h"

namespace {

using tests::CRun;

// Asking leaves every bit of the run as it is.
TEST(ApplicationDoubts, StepsThatAreTooLong) {
  for (const std::vector<std::string>& row : tests::TableRows("application.txt", "Steps")) {
    const std::string text =
        "application a period = 1; duration = 5; end_application;\n"
        "data x : real = 1; y : real; v : real; w : real; d : real; end_data; process " +
        row[0] + " end_process;\n";
    const std::string trace = CRun(text).Trace();
    CRun run(text);
    const auto doubt = run->StepDoubt();
    EXPECT_EQ(doubt ? doubt->text : "none", row[1]) << row[0];
    run->Direction({0, 0}, {1, 0}, 0.5, 1'000'000);
    EXPECT_EQ(run.Trace(), trace) << row[0];
  }
}

// How x answers to y. A swing without damping is never below where it began, which holds
// for steps of the fourth order alone.
TEST(ApplicationDoubts, DirectionsOfAnswers) {
  const std::pair<const char*, int> rows[] = {
      {"x' = y - x;", 1},
      {"x' = -y - x;", -1},
      {"x' = -x;", 0},
      {"x = 3 * y;", 1},
      {"x' = d - x; d = delay(y, 2);", 1},
      {"x' = v; v' = y - x;", 1},
      {"v' = y - w; w' = v; x = v;", 0},
      {"v' = (y - v) / 2; w' = 2 * (y - w); x = 2 * v - w;", 0},
      {"v' = (y - v) / 2; w' = 2 * (y - w); x = 2 * v + w;", 1},
  };
  for (const auto& [process, direction] : rows) {
    for (const double change : {0.5, -0.5}) {
      const CRun run(
          "application a period = 1; duration = 200; end_application; data x : real = 1; y : real; v : real; w : real; "
          "d : real; end_data; process " +
          std::string(process) + " end_process;\n");
      EXPECT_EQ(run->Direction({1, 0}, {0, 0}, change, 1'000'000), direction) << process << " " << change;
    }
  }
}

}  // namespace
