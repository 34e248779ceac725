#include "runtime/script/watchdog.h"

#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <csignal>

#include "runtime/script/script_state.h"

#ifndef sigev_notify_thread_id
// NOLINTNEXTLINE(readability-identifier-naming): the name that the manual page has, which some C libraries lack.
#define sigev_notify_thread_id _sigev_un._tid
#endif

namespace runtime {

namespace {

// A signal handler reaches these, so they need no memory of their own at its
// first access.
#define LOOPBOX_SIGNAL_LOCAL [[gnu::tls_model("initial-exec")]] thread_local
LOOPBOX_SIGNAL_LOCAL TScriptState* volatile watched = nullptr;
LOOPBOX_SIGNAL_LOCAL volatile std::sig_atomic_t armed = 0;
LOOPBOX_SIGNAL_LOCAL timer_t timer = {};
#undef LOOPBOX_SIGNAL_LOCAL

// A host may use the signal of its own: what isn't the timer's goes to it.
constexpr int kSignal = SIGVTALRM;
char timerMark;  // its address tells the timer's signals
struct sigaction hostAction = {};

void Arm() {
  constexpr itimerspec kOnce = {{0, 0}, {0, static_cast<long>(kTickInterval * 1e9)}};
  armed = 1;
  timer_settime(timer, 0, &kOnce, nullptr);
}

void PassOn(int number, siginfo_t* info, void* context) {
  if ((hostAction.sa_flags & SA_SIGINFO) != 0) {
    hostAction.sa_sigaction(number, info, context);
  } else if (hostAction.sa_handler == SIG_DFL) {
    sigaction(number, &hostAction, nullptr);
    raise(number);
  } else if (hostAction.sa_handler != SIG_IGN) {
    hostAction.sa_handler(number);
  }
}

void OnTick(int number, siginfo_t* info, void* context) {
  if (info->si_code != SI_TIMER || info->si_value.sival_ptr != &timerMark) return PassOn(number, info, context);
  armed = 0;
  TScriptState* const script = watched;
  if (script == nullptr) return;  // the next call arms it
  const int before = errno;
  Arm();
  errno = before;
  script->ticks = script->ticks + 1;
  bool (*const interrupted)() = script->application.options.interruptionAsked;
  if (interrupted != nullptr && interrupted()) script->ticksInterrupted = script->ticksInterrupted + 1;
  const bool isOverdue = script->ticks > script->ticksAllowed || script->ticksInterrupted > kTicksAfterInterruption;
  if (isOverdue && script->leavable != 0) Leave(*script);
}

// The timer of a thread.
class CTimer {
 public:
  ~CTimer() {
    if (isMade) timer_delete(timer);
  }

  bool Make() {
    if (isMade && process == getpid()) return true;
    static const bool isCaught = Catch();
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = kSignal;
    event.sigev_value.sival_ptr = &timerMark;
    event.sigev_notify_thread_id = gettid();
    isMade = isCaught && timer_create(CLOCK_THREAD_CPUTIME_ID, &event, &timer) == 0;
    process = getpid();
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, kSignal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    return isMade;
  }

 private:
  // The handler is left by a jump, so the signal isn't blocked while it runs.
  static bool Catch() {
    struct sigaction action = {};
    action.sa_sigaction = OnTick;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
    pthread_atfork(nullptr, nullptr, [] { armed = 0; });
    return sigaction(kSignal, &action, &hostAction) == 0;
  }

  bool isMade = false;
  pid_t process = 0;  // a child of fork has no timers
};

}  // namespace

bool BeginWatching(TScriptState& script) {
  static thread_local CTimer made;
  script.ticks = 0;
  script.ticksSeen = 0;
  script.ticksInterrupted = 0;
  watched = &script;
  if (armed != 0) return true;
  if (!made.Make()) {
    watched = nullptr;
    return false;
  }
  Arm();
  return true;
}

void EndWatching() { watched = nullptr; }

void Leave(TScriptState& script) {
  script.leavable = 0;
  _longjmp(*script.way, 1);
}

}  // namespace runtime
