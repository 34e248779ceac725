// A process below the surface of an application: its memory of what is delayed, and the
// time that is made up for at once.
#include "runtime/simulation/process.h"

#include <gtest/gtest.h>

#include "runtime/instruments/application_state.h"
#include "tests/support.h"

namespace {

// The newest record that is old enough; a billionth of a substep and four units in the
// last place of the time are forgiven.
TEST(Process, DelaysFindTheirRecord) {
  const struct {
    double recorded, time, seconds, substep;
    bool isFound;
  } rows[] = {
      {0, 0, 0, 0, true},
      {1, 3, 2, 0, true},
      {1.0000000009, 3, 2, 1, true},
      {1.0000000011, 3, 2, 1, false},
      {1.0000009, 3, 2, 1000, true},
      {1.0000011, 3, 2, 1000, false},
      {1e6 + 8e-10, 1e6, 0, 0, true},
      {1e6 + 1e-9, 1e6, 0, 0, false},
      {-1e6 + 8e-10, -1e6, 0, 0, true},
  };
  for (const auto& row : rows) {
    runtime::CDelay delay;
    delay.Record(-1e9, 1, false);
    delay.Record(row.recorded, 2, false);
    delay.Record(1e9, 3, false);
    bool isLost = true;
    EXPECT_EQ(delay.Find(row.time, row.seconds, row.substep, &isLost), row.isFound ? 2 : 1) << row.recorded;
    EXPECT_FALSE(isLost);
    delay.Trim(row.time, row.seconds, row.substep);
    EXPECT_EQ(delay.Count(), row.isFound ? 2u : 3u);
    EXPECT_EQ(delay.Find(row.time, row.seconds, row.substep, &isLost), row.isFound ? 2 : 1) << row.recorded;
  }
}

TEST(Process, DelaysTellWhatTheyLost) {
  runtime::CDelay delay;
  bool isLost = true;
  delay.Record(0, 1, true);  // there is none that could make room
  EXPECT_EQ(delay.Find(1, 5, 0, &isLost), 1);
  EXPECT_FALSE(isLost) << "what is older than all was never recorded";
  delay.Record(1, 2, true);
  EXPECT_EQ(delay.Count(), 1u);
  EXPECT_EQ(delay.Find(1, 1, 0, &isLost), 2);
  EXPECT_TRUE(isLost);
  EXPECT_EQ(delay.Find(1, 0, 0, &isLost), 2);
  EXPECT_FALSE(isLost);
  delay.Clear();
  EXPECT_TRUE(delay.IsEmpty());
  delay.Record(2, 3, false);
  EXPECT_EQ(delay.Find(2, 1, 0, &isLost), 3);
  EXPECT_FALSE(isLost);
}

// What is old goes, and what is younger than any delay stays.
TEST(Process, DelaysHoldWhatTheyNeed) {
  runtime::CDelay delay;
  for (int k = 0; k < 1000; ++k) {
    delay.Record(k, k, false);
    bool isLost = true;
    EXPECT_EQ(delay.Find(k, 3, 0, &isLost), std::max(k - 3, 0));
    delay.Trim(k, 3, 0);
    EXPECT_LE(delay.Count(), 4u);
  }
  // One that grows finds what is older than it was.
  tests::CRun run(
      "application a period = 1; duration = 99; end_application; data s : real = 1; x : real; y : real; end_data;\n"
      "process substeps = 1; x = delay(time, s); y = delay(time, 3); end_process;\n");
  run.State().process.SetMaximumDelayRecords(60);
  run.Steps(9);
  EXPECT_EQ(run.Value("x"), 8.0);
  run.SetValue("s", 5);
  run.Steps(1);
  EXPECT_EQ(run.Value("x"), 5.0);
  run.Steps(35);
  EXPECT_EQ(run.Value("y"), 42.0);
  EXPECT_TRUE(run.messages.empty()) << "of the records those of both delays are counted";
}

// Of periods that were left out a thousand are integrated in full; of more, as many longer
// steps. The jump lies where an odd step more or less is seen.
TEST(Process, MakesUpForPeriodsLeftOut) {
  const std::pair<std::uint64_t, double> rows[] = {
      {499, 0}, {999, 499 + 1.0 / 6}, {1000, 1.001 * (499 + 5.0 / 6)}, {1999, 2 * (749 + 5.0 / 6)}};
  for (const auto& [leftOut, expected] : rows) {
    tests::CRun run(
        "application a period = 1; duration = 4000; end_application; data x : real; end_data;\n"
        "process substeps = 1; x' = if(time > 500.6, 1, 0); end_process;\n");
    run->LeaveOut(leftOut);
    run.Steps(1);
    EXPECT_NEAR(run.Value("x"), expected, 1e-9) << leftOut;
    EXPECT_EQ(run->PeriodsDone(), leftOut + 1);
  }
}

// Simpson's rule in time, which is exact for cubes.
TEST(Process, StepsInTime) {
  tests::CRun run(
      "application a period = 1; duration = 9; end_application; data x : real; end_data;\n"
      "process substeps = 1; x' = 4 * time ^ 3; end_process;\n");
  run.Steps(3);
  EXPECT_NEAR(run.Value("x"), 81.0, 1e-12);
}

TEST(Process, IntegratesItemsOfArrays) {
  tests::CRun run(
      "application a period = 1; duration = 9; end_application; data a : real[3] = [1, 2, 3]; end_data;\n"
      "process a[1]' = 10; a[2]' = a[0]; end_process;\n");
  run.Steps(2);
  for (const auto& [item, expected] : {std::pair(0, 1.0), {1, 22.0}, {2, 5.0}}) {
    EXPECT_NEAR(run.Value("a", static_cast<std::size_t>(item)), expected, 1e-12);
  }
}

}  // namespace
