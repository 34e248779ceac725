// Waiting for the wall clock.
#include "workbench/run/pacing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <regex>
#include <string>
#include <vector>

#include "tests/support.h"

namespace {

using workbench::CPacer;
using workbench::TLateness;

// Stands still but while it is slept by, and wakes too late.
class CFakeClock : public workbench::CWallClock {
 public:
  std::int64_t Now() override { return now; }
  void SleepUntil(std::int64_t moment) override { now = moment + oversleep; }

  std::int64_t now = 5'000'000'000;
  std::int64_t oversleep = 0;
};

constexpr std::int64_t kMillisecond = 1'000'000;  // nanoseconds

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

// No period begins before its time, and one that takes 4.5 times its length
// delays the next four by what is left of it, but none after them.
TEST(Pacing, CatchesUpWithoutLeavingAnyPeriodOut) {
  CFakeClock clock;
  const std::int64_t start = clock.now;
  CPacer pacer(0.5, clock);
  std::vector<std::int64_t> begun;
  for (std::uint64_t period = 1; period <= 10; ++period) {
    if (period == 9) clock.oversleep = 3 * kMillisecond;
    pacer.WaitFor(period);
    begun.push_back((clock.now - start) / kMillisecond);
    if (period == 2) clock.now += 2250 * kMillisecond;
  }
  EXPECT_EQ(begun, (std::vector<std::int64_t>{500, 1000, 3250, 3250, 3250, 3250, 3500, 4000, 4503, 5003}));
  EXPECT_EQ(pacer.Overrun(), 4u);
  EXPECT_EQ(pacer.Late(), 6u);
  EXPECT_EQ(pacer.Periods().worstPeriod, 3u);
  EXPECT_EQ(pacer.Timer().count, 6u);
}

// On a plant they are left out, but for the last.
TEST(Pacing, LeavesOutWhatHasPassed) {
  CFakeClock clock;
  CPacer pacer(0.5, clock);
  pacer.WaitFor(1);
  EXPECT_EQ(pacer.LeaveOut(1, 9), 0u);
  clock.now += 2250 * kMillisecond;
  pacer.WaitFor(2);
  EXPECT_EQ(pacer.LeaveOut(2, 8), 3u);
  pacer.WaitFor(6);
  clock.now += 9000 * kMillisecond;
  EXPECT_EQ(pacer.LeaveOut(6, 4), 4u);
  EXPECT_EQ(pacer.LeftOut(), 7u);
  EXPECT_NE(pacer.SummaryText().find(", 7 left out\n"), std::string::npos);
}

TEST(Pacing, IsSummedUpWithEveryPeriodCounted) {
  const tests::CFolder folder;
  const std::string file = folder.Write("a.lbx", "application a period = 0.01; duration = 0.3; end_application;\n");
  const tests::TOutcome outcome = tests::Loopbox("run --realtime --realtime-priority 10 " + file);
  tests::ExpectOutcome(outcome, 0, {"real time: "});
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
  tests::ExpectOutcome(refused, 0, {"priority 10 isn't allowed", "memory can't be locked", "a: 30 periods"});
}

}  // namespace
