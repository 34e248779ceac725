// What is doubtful about how a process is integrated.
#include <gtest/gtest.h>

#include "runtime/instruments/application_state.h"
#include "tests/support.h"

namespace {

using tests::CRun;

// Asking leaves every bit of the run as it is.
TEST(ApplicationDoubts, StepsThatAreTooLong) {
  for (const std::vector<std::string>& row : tests::TableRows("application.txt", "Steps")) {
    const std::string text =
        "application a period = 1; duration = 5; end_application;\n"
        "data x : real = 1; y : real; v : real; w : real; d : real; p : real = 3; end_data; process " +
        row[0] + " end_process;\n";
    CRun undisturbed(text);
    const std::string trace = undisturbed.Trace();
    CRun run(text);
    const auto doubt = run->StepDoubt();
    EXPECT_EQ(doubt ? doubt->text : "none", row[1]) << row[0];
    if (doubt) {
      EXPECT_EQ(text.substr(doubt->offset, row.at(2).size()), row[2]) << row[0];
    }
    run->Direction({0, 0}, {1, 0}, 0.5, 1'000'000);
    EXPECT_EQ(run.Trace(), trace) << row[0];
    EXPECT_EQ(run.messages.size(), undisturbed.messages.size()) << row[0];
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
      {"x = 0 * y;", 0},
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

// Where a value at the end stands, by a bound just below and just above it. The steps are
// Runge-Kutta's: one of a rate of z multiplies what is left by R = 1 - z + z²/2 - z³/6 + z⁴/24.
TEST(ApplicationDoubts, StepsOfAnswers) {
  const struct {
    const char* process;  // with a bound
    double duration;
    std::uint64_t work;
    const char* answers;  // by this one
    const char* bound;    // not by this one
  } rows[] = {
      // R(1/2) = 0.6067708 is left, of 1 and of 1 - 0.5.
      {"substeps = 1; x' = (y - x) / 2; w = min(x, BOUND);", 1, 1000, "0.60678", "0.60677"},
      {"substeps = 1; d' = (y - d) / 2; x' = (y - x) / 2; w = min(x, BOUND);", 1, 1000, "0.60678", "0.60677"},
      {"substeps = 1; x' = (y - x) / 2; w = max(x, BOUND);", 1, 1000, "0.80338", "0.80339"},
      {"substeps = 1; x' = (d - x) / 2; d = delay(y, 0.5); w = max(x, BOUND);", 1, 1000, "0.80338", "0.80339"},
      // Steps of a period are too long: four of 1/4 s, R(1)^4.
      {"substeps = 1; x' = 4 * (y - x); w = min(x, BOUND);", 1.1, 1000, "0.01978", "0.01977"},
      // No more work than for 20 steps, each of 10 s: R(1/2)^20.
      {"substeps = 1; x' = (y - x) / 20; w = min(x, BOUND);", 200, 335, "4.577e-5", "4.576e-5"},
      // A billionth of both values together is rounding.
      {"w = 1e6 + BOUND * y;", 200, 1000, "0.0041", "0.0039"},
  };
  for (const auto& row : rows) {
    const auto answer = [&row](const char* bound) {
      const std::string process = tests::Replaced(row.process, "BOUND", bound);
      const CRun run("application a period = 1; duration = " + std::to_string(row.duration) +
                     "; end_application; data x : real = 1; y : real; w : real; d : real; end_data; process " +
                     process + " end_process;\n");
      return run->Direction({1, 0}, {2, 0}, 0.5, row.work);
    };
    EXPECT_EQ(answer(row.answers), 1) << row.process;
    EXPECT_EQ(answer(row.bound), 0) << row.process;
  }
  const CRun run(
      "application a period = 1; duration = 200; end_application; data x : real = 1; y : real; end_data; "
      "process x' = y - x; end_process;\n");
  EXPECT_EQ(run->Direction({1, 0}, {0, 0}, 0.5, 160), 1);
  EXPECT_EQ(run->Direction({1, 0}, {0, 0}, 0.5, 159), 0) << "less than 20 steps tell nothing";
}

// What a line says is doubted at its place, or nothing is.
TEST(ApplicationDoubts, LinesThatReadThemselves) {
  const std::string itself = "this line reads what it computes: it goes on from itself each time that it is ";
  const struct {
    const char* line;
    const char* place;  // none: nothing is doubted
    std::string text;
  } rows[] = {
      {"x = 2 * y; z = y;", nullptr, ""},
      {"z = y; x = y + x / 2;", "x = y +", itself},
      {"a[1] = a[0] + 1;", nullptr, ""},
      {"a[1] = a[0] + a[1];", "a[1] = ", itself},
      {"a[1] = a[1 - 0];", nullptr, ""},
      {"x = delay(x, 1);", nullptr, ""},
      {"z = y; x = delay(y, 2 - 3);", "2 - 3", "a delay of a negative time is none"},
      {"x = delay(y, 0);", nullptr, ""},
      {"x = delay(y, 0.5);", nullptr, ""},
  };
  for (const auto& row : rows) {
    const std::string text = "data x : real; y : real = 1; z : real; a : real[2]; end_data; process " +
                             std::string(row.line) + " end_process;\n";
    const CRun run(text);
    const auto doubts = run->Doubts();
    ASSERT_EQ(doubts.size(), row.place == nullptr ? 0u : 1u) << row.line;
    if (row.place == nullptr) continue;
    EXPECT_TRUE(text.substr(doubts[0].offset).starts_with(row.place)) << row.line;
    EXPECT_TRUE(doubts[0].text.starts_with(row.text)) << doubts[0].text;
  }
}

// A line that an input takes over is none that is doubted; the one behind it is.
TEST(ApplicationDoubts, LinesThatAreLeft) {
  const std::string text =
      "application a period = 1; duration = 5; end_application; data x : real; y : real; z : real; end_data;\n"
      "process x = x + 1; y = 2 * x; z = z + 1; end_process;\n";
  const CRun run(text);
  EXPECT_EQ(run->Doubts().size(), 2u);
  run.State().process.LeaveTo(run.State().data.Place(0, 0));
  const auto doubts = run->Doubts();
  ASSERT_EQ(doubts.size(), 1u);
  EXPECT_EQ(text.substr(doubts[0].offset, 9), "z = z + 1");
}

}  // namespace
