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
        "data x : real = 1; y : real; end_data; process " +
        row[0] + " end_process;\n";
    const std::string trace = CRun(text).Trace();
    CRun run(text);
    const auto doubt = run->StepDoubt();
    EXPECT_EQ(doubt ? doubt->text : "none", row[1]) << row[0];
    run->Direction({0, 0}, {1, 0}, 0.5, 1'000'000);
    EXPECT_EQ(run.Trace(), trace) << row[0];
  }
}

}  // namespace
