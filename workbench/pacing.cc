#include "workbench/pacing.h"

#include <time.h>

#include <algorithm>
#include <csignal>

namespace workbench {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;      // nanoseconds
constexpr std::int64_t kLongestSleep = kSecond / 4;  // an interruption just before a sleep is seen after it
constexpr double kFarthest = 4e9;                    // seconds; fits in nanoseconds

volatile std::sig_atomic_t interruptionAsked = 0;

extern "C" void OnInterruption(int) { interruptionAsked = 1; }

std::int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kSecond + now.tv_nsec;
}

}  // namespace

void CatchInterruption() {
  struct sigaction action {};
  action.sa_handler = OnInterruption;
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
}

bool InterruptionAsked() { return interruptionAsked != 0; }

CPacer::CPacer(double periodSeconds) : period(periodSeconds), start(Now()) {}

void CPacer::WaitFor(std::uint64_t count) const {
  const double due = std::min(static_cast<double>(count) * period, kFarthest);
  const std::int64_t deadline = start + static_cast<std::int64_t>(due * 1e9);
  for (std::int64_t now = Now(); now < deadline && !InterruptionAsked(); now = Now()) {
    const std::int64_t wake = std::min(deadline, now + kLongestSleep);
    const timespec until{static_cast<time_t>(wake / kSecond), static_cast<long>(wake % kSecond)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
  }
}

}  // namespace workbench
