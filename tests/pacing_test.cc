// Waiting for the wall clock.
#include "workbench/run/pacing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <regex>
#include <string>
#include <thread>

#include "tests/support.h"

namespace {

using workbench::CPacer;
using workbench::TLateness;

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(Pacing, CountsByDecadesAndKeepsTheWorst) {
  TLateness lateness;
  std::uint64_t period = 0;
  for (const std::int64_t nanoseconds : {0L, 999L, 1000L, 99'999L, 5'000'000'000L, 999'999'999L, 5'000'000'000L}) {
    lateness.Note(nanoseconds, ++period);
  }
  EXPECT_EQ(lateness.counts, (std::array<std::uint64_t, 8>{2, 1, 1, 0, 0, 0, 1, 2}));
  EXPECT_EQ(lateness.count, 7u);
  EXPECT_EQ(lateness.worst, 5'000'000'000);
  EXPECT_EQ(lateness.worstPeriod, 5u);
}

// No period begins before its time, and one that takes 45 ms delays the next
// four by what is left of it, but none after them. The end is on schedule, which
// a busy machine may spoil: it is tried until it comes out.
TEST(Pacing, CatchesUpWithoutLeavingAnyPeriodOut) {
  bool onSchedule = false;
  for (int attempt = 0; attempt < 20 && !onSchedule; ++attempt) {
    const auto start = std::chrono::steady_clock::now();
    CPacer pacer(0.01);
    for (std::uint64_t period = 1; period <= 10; ++period) {
      pacer.WaitFor(period);
      EXPECT_GE(SecondsSince(start), 0.01 * static_cast<double>(period));
      if (period == 2) std::this_thread::sleep_for(std::chrono::milliseconds(45));
    }
    onSchedule = SecondsSince(start) < 0.11;  // and not 0.135
    EXPECT_EQ(pacer.Periods().count, 10u);
    EXPECT_GE(pacer.Overrun(), 4u);
    EXPECT_GE(pacer.Late(), 4u);
    EXPECT_EQ(pacer.Timer().count, 10u - pacer.Overrun());
    EXPECT_GE(pacer.Periods().worst, 34'000'000);
    EXPECT_TRUE(!onSchedule || pacer.Periods().worstPeriod == 3);
  }
  EXPECT_TRUE(onSchedule);
}

TEST(Pacing, IsSummedUpWithEveryPeriodCounted) {
  const tests::CFolder folder;
  const std::string file = folder.Write("a.lbx", "application a period = 0.01; duration = 0.3; end_application;\n");
  const tests::TOutcome outcome = tests::Loopbox("run --realtime --realtime-priority 10 " + file);
  EXPECT_EQ(outcome.status, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("real time: "), std::string::npos) << outcome.output;
  std::uint64_t counted = 0;
  const std::regex row("\n  (?:under [0-9]+ .?.?s|1 s and more) +([0-9]+)");
  for (std::sregex_iterator at(outcome.output.begin(), outcome.output.end(), row), end; at != end; ++at) {
    counted += std::stoull((*at)[1]);
  }
  EXPECT_EQ(counted, 30u) << outcome.output;
  EXPECT_EQ(tests::Loopbox("run --realtime-priority 10 " + file).status, 2);
  EXPECT_EQ(tests::Loopbox("run --realtime --realtime-priority 100 " + file).status, 2);
  // Where it isn't allowed, that is said, and the run goes on.
  const std::string drop = "setpriv --bounding-set -sys_nice,-ipc_lock --inh-caps -sys_nice,-ipc_lock ";
  const tests::TOutcome refused =
      tests::Shell("(ulimit -l 0; ulimit -r 0; exec " + (geteuid() == 0 ? drop : std::string()) +
                   tests::BuildPath("loopbox") + " run --realtime --realtime-priority 10 " + file + ")");
  EXPECT_EQ(refused.status, 0) << refused.output;
  for (const char* part : {"priority 10 isn't allowed", "memory can't be locked", "a: 30 periods"}) {
    EXPECT_NE(refused.output.find(part), std::string::npos) << part << "\n" << refused.output;
  }
}

}  // namespace
