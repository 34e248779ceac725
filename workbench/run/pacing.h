// Interruption by the user, and the wall clock.
#ifndef LOOPBOX_WORKBENCH_RUN_PACING_H
#define LOOPBOX_WORKBENCH_RUN_PACING_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace workbench {

// From here on SIGINT, SIGTERM and SIGHUP ask for an end instead of causing one; the
// second of a kind ends the program. A reader of the output that went away
// becomes a write error.
void CatchInterruption();
bool InterruptionAsked();

// Asks for first-in-first-out scheduling at a priority (1 to 99) and for memory
// that stays in place. False when either was not allowed, with what would allow
// it.
bool TakeRealtimePriority(int priority, std::string* error);

// By how much moments on the wall clock were missed.
struct TLateness {
  static constexpr std::size_t kDecades = 8;
  std::array<std::uint64_t, kDecades> counts{};  // by less than 1 µs, 10 µs, … 1 s, and the others
  std::uint64_t count = 0;
  std::int64_t worst = 0;         // nanoseconds
  std::uint64_t worstPeriod = 0;  // in which that was

  void Note(std::int64_t nanoseconds, std::uint64_t period);
};

// The wall clock of a run, which a test replaces: nanoseconds of the monotonic
// clock.
class CWallClock {
 public:
  virtual ~CWallClock() = default;
  virtual std::int64_t Now();
  virtual void SleepUntil(std::int64_t moment);  // or until a signal comes
};
CWallClock& SystemClock();

// Waits on the wall clock for whole periods since it was made. Each moment
// is reckoned from the start, so that no error adds up. A period that took too
// long delays none but the next ones that were due meanwhile: they follow each
// other without a wait until the schedule is met again, and none is left out unless
// that is asked for.
//
// Half-way through each wait it wakes once more and goes back to sleep. How late
// that is tells what the system's timer is worth at that time, without any work
// of a period.
class CPacer {
 public:
  explicit CPacer(double periodSeconds, CWallClock& wallClock = SystemClock());
  // Until `count` periods have passed, or an interruption is asked for.
  void WaitFor(std::uint64_t count);
  // Behind a wait for `count`: how many whole periods have passed since, but `most`.
  // They will not be waited for.
  std::uint64_t LeaveOut(std::uint64_t count, std::uint64_t most);
  // How late periods began, beside the bare timer: lines for a summary.
  std::string SummaryText() const;

  const TLateness& Periods() const { return periods; }
  const TLateness& Timer() const { return timer; }
  std::uint64_t Late() const { return late; }        // by a millisecond, which regulators' clocks show
  std::uint64_t Overrun() const { return overrun; }  // the one before was still at work when they were due
  std::uint64_t LeftOut() const { return leftOut.value_or(0); }

 private:
  // By how much it overslept, in nanoseconds.
  std::int64_t SleepUntil(std::int64_t deadline);

  CWallClock& clock;
  double period;       // seconds
  std::int64_t start;  // nanoseconds
  TLateness periods;
  TLateness timer;
  std::uint64_t late = 0;
  std::uint64_t overrun = 0;
  std::optional<std::uint64_t> leftOut;  // none: nobody asked
};

}  // namespace workbench

#endif
