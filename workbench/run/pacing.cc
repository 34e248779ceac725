#include "workbench/run/pacing.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "runtime/runtime.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;      // nanoseconds
constexpr std::int64_t kLongestSleep = kSecond / 4;  // an interruption just before a sleep is seen after it
constexpr double kFarthest = 4e9;                    // seconds; fits in nanoseconds
constexpr std::int64_t kLate = kSecond / 1000;

volatile std::sig_atomic_t interruptionAsked = 0;

extern "C" void OnInterruption(int) { interruptionAsked = 1; }

// Pages are locked as far as the limit goes. Those that are yet to come are
// only where there is no limit: else a later allocation would fail by it.
bool LockMemory() {
  rlimit limit{};
  getrlimit(RLIMIT_MEMLOCK, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_MEMLOCK, &limit);
  return mlockall(limit.rlim_cur == RLIM_INFINITY ? MCL_CURRENT | MCL_FUTURE : MCL_CURRENT) == 0;
}

std::string Microseconds(std::int64_t nanoseconds) { return Quantity(static_cast<double>(nanoseconds) / 1e3, "µs"); }

}  // namespace

void CatchInterruption() {
  struct sigaction action {};
  action.sa_handler = OnInterruption;
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
  // The script's timer may leave what it interrupts, which is not to be this handler.
  sigaddset(&action.sa_mask, SIGVTALRM);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // Who started the program by nohup wants it to outlive the terminal.
  struct sigaction before {};
  sigaction(SIGHUP, nullptr, &before);
  if (before.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
}

bool InterruptionAsked() { return interruptionAsked != 0; }

bool TakeRealtimePriority(int priority, std::string* error) {
  error->clear();
  sched_param parameters{};
  parameters.sched_priority = priority;
  if (sched_setscheduler(0, SCHED_FIFO, &parameters) != 0) {
    *error = "priority " + std::to_string(priority) + " isn't allowed (" + std::strerror(errno) +
             "): it takes CAP_SYS_NICE or ulimit -r; the run goes on at its ordinary priority";
  }
  if (!LockMemory()) {
    if (!error->empty()) *error += "; ";
    *error += std::string("memory can't be locked (") + std::strerror(errno) +
              "): it takes CAP_IPC_LOCK or ulimit -l; the run goes on without";
  }
  return error->empty();
}

void TLateness::Note(std::int64_t nanoseconds, std::uint64_t period) {
  std::size_t decade = 0;
  for (std::int64_t bound = 1000; decade + 1 < kDecades && nanoseconds >= bound; bound *= 10) ++decade;
  ++counts[decade];
  ++count;
  if (count > 1 && nanoseconds <= worst) return;
  worst = nanoseconds;
  worstPeriod = period;
}

std::int64_t CWallClock::Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kSecond + now.tv_nsec;
}

void CWallClock::SleepUntil(std::int64_t moment) {
  const timespec until{static_cast<time_t>(moment / kSecond), static_cast<long>(moment % kSecond)};
  clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

CWallClock& SystemClock() {
  static CWallClock clock;
  return clock;
}

CPacer::CPacer(double periodSeconds, CWallClock& wallClock)
    : clock(wallClock), period(periodSeconds), start(clock.Now()) {}

std::int64_t CPacer::SleepUntil(std::int64_t deadline) {
  std::int64_t now = clock.Now();
  for (; now < deadline && !InterruptionAsked(); now = clock.Now()) {
    clock.SleepUntil(std::min(deadline, now + kLongestSleep));
  }
  return now - deadline;
}

void CPacer::WaitFor(std::uint64_t count) {
  const double due = std::min(static_cast<double>(count) * period, kFarthest);
  const std::int64_t deadline = start + static_cast<std::int64_t>(due * 1e9);
  const std::int64_t left = deadline - clock.Now();
  if (left > 0) {
    const std::int64_t oversleep = SleepUntil(deadline - left / 2);
    if (InterruptionAsked()) return;
    timer.Note(oversleep, count);
  } else {
    ++overrun;
  }
  const std::int64_t lateness = SleepUntil(deadline);
  if (InterruptionAsked()) return;
  periods.Note(lateness, count);
  if (lateness >= kLate) ++late;
}

std::uint64_t CPacer::LeaveOut(std::uint64_t count, std::uint64_t most) {
  const double passed = static_cast<double>(clock.Now() - start) / 1e9 / period - static_cast<double>(count);
  const auto whole = passed < 1.0 ? 0 : static_cast<std::uint64_t>(passed);
  leftOut = LeftOut() + std::min(whole, most);
  return std::min(whole, most);
}

std::string CPacer::SummaryText() const {
  if (periods.count == 0) return std::string();
  const auto worst = [this](const TLateness& lateness) {
    return lateness.count == 0
               ? std::string()
               : Microseconds(lateness.worst) + " " +
                     runtime::Translated("at t=" + Seconds(static_cast<double>(lateness.worstPeriod) * period) + " s");
  };
  constexpr const char* kNames[TLateness::kDecades] = {"under 1 µs",  "under 10 µs",  "under 100 µs", "under 1 ms",
                                                       "under 10 ms", "under 100 ms", "under 1 s",    "1 s and more"};
  CTable table;
  table.Add(
      {runtime::Translated("begun after its time"), runtime::Translated("periods"), runtime::Translated("bare timer")});
  for (std::size_t i = 0; i < TLateness::kDecades; ++i) {
    if (periods.counts[i] + timer.counts[i] == 0) continue;
    table.Add({runtime::Translated(kNames[i]), std::to_string(periods.counts[i]), std::to_string(timer.counts[i])});
  }
  table.Add({runtime::Translated("worst"), worst(periods), worst(timer)});
  const std::string head = "real time: " + Count(late, "period") + " late by 1 ms or more, " + std::to_string(overrun) +
                           " because the one before was still at work" +
                           (leftOut ? ", " + std::to_string(*leftOut) + " left out" : "");
  return runtime::Translated(head) + "\n" + table.Text();
}

}  // namespace workbench
