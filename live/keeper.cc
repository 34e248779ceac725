#include "live/keeper.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "live/clock.h"

namespace live {

struct CKeeper::TShared {
  std::atomic<std::uint32_t> deaths{0};
  std::atomic<int> howLast{0};
  std::atomic<bool> hasEnded{false};
};

namespace {

// True when it hung up.
bool WaitForHangUp(int descriptor, double seconds) {
  const double until = Now() + seconds;
  for (;;) {
    pollfd polled{descriptor, 0, 0};
    const double left = std::max(0.0, until - Now());
    const int found = poll(&polled, 1, static_cast<int>(std::ceil(left * 1000.0)));
    if (found > 0) return true;
    if (found == 0 && Now() >= until) return false;
  }
}

// A process group of its own is out of a terminal's reach; who signals processes one
// by one is ignored. What the loop does at a crash isn't done here.
void DetachSignals() {
  setpgid(0, 0);
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGTSTP, SIGTTIN, SIGTTOU}) {
    signal(number, SIG_IGN);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Who reads the loop's standard output sees its end when the loop ends.
void CloseInherited(std::vector<int> kept) {
  const int nothing = open("/dev/null", O_RDWR);  // stays open where a standard descriptor was closed
  if (nothing > 2) kept.push_back(nothing);
  dup2(nothing, 0);
  dup2(nothing, 1);
  if (fcntl(2, F_GETFD) < 0) dup2(nothing, 2);
  std::sort(kept.begin(), kept.end());
  unsigned from = 3;
  for (const int descriptor : kept) {
    const auto number = static_cast<unsigned>(descriptor);
    if (number > from) close_range(from, number - 1, 0);
    from = number + 1;
  }
  close_range(from, ~0U, 0);
}

void Rename(const std::string& name) { prctl(PR_SET_NAME, name.c_str()); }

}  // namespace

std::unique_ptr<CKeeper> CKeeper::Start(const TKeeping& keeping, std::string* error) {
  std::unique_ptr<CKeeper> keeper(new CKeeper);
  keeper->block = CSharedBlock::Make(PlaceBytes(sizeof(TShared)), error);
  if (keeper->block == nullptr) return nullptr;
  TShared* const shared = keeper->shared = keeper->block->Place<TShared>();
  int loops[2];
  int ends[2];
  if (pipe2(loops, O_CLOEXEC) != 0) {
    *error = "no pipe: " + std::string(std::strerror(errno));
    return nullptr;
  }
  keeper->loop = loops[1];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    *error = "no pipe: " + std::string(std::strerror(errno));
    close(loops[0]);
    return nullptr;
  }
  keeper->end = ends[0];
  std::fflush(nullptr);  // lest the child writes it too
  keeper->id = fork();
  if (keeper->id == 0) {
    DetachSignals();
    std::vector<int> kept = keeping.descriptors;
    kept.insert(kept.end(), {loops[0], ends[1]});
    CloseInherited(kept);
    Rename(keeping.name + "-keeper");
    for (int done = 0;; ++done) {
      const pid_t worker = fork();
      if (worker == 0) {
        Rename(keeping.name + "-worker");
        _exit((done == 0 ? keeping.work : keeping.again)(loops[0]));
      }
      int status = 0;
      if (worker > 0) {
        while (waitpid(worker, &status, 0) < 0 && errno == EINTR) {
        }
        if (status == 0) break;
      }
      shared->howLast.store(status);
      shared->deaths.fetch_add(1);
      const bool isTired = keeping.times >= 0 && done >= keeping.times;
      if (isTired || (WaitForHangUp(loops[0], keeping.pause) && !keeping.alone)) break;
    }
    shared->hasEnded.store(true);
    _exit(0);
  }
  const int failure = errno;
  close(loops[0]);
  close(ends[1]);
  if (keeper->id < 0) {
    *error = "no process: " + std::string(std::strerror(failure));
    return nullptr;
  }
  setpgid(keeper->id, keeper->id);  // whoever of the two comes first
  return keeper;
}

CKeeper::~CKeeper() {
  if (id > 0 && !End(0.0)) {
    kill(-id, SIGKILL);
    End(1.0);
  }
  if (loop >= 0) close(loop);
  if (end >= 0) close(end);
}

bool CKeeper::IsAlive() {
  const double now = Now();
  if (!wasWaitedFor && now >= nextLook) {
    wasWaitedFor = waitpid(id, nullptr, WNOHANG) != 0;
    nextLook = now + 0.1;
  }
  return !wasWaitedFor && !shared->hasEnded.load();
}

std::uint32_t CKeeper::Deaths() const { return shared->deaths.load(); }
int CKeeper::HowLast() const { return shared->howLast.load(); }

bool CKeeper::End(double seconds) {
  if (loop >= 0) close(loop);
  loop = -1;
  if (!WaitForHangUp(end, seconds)) return false;
  if (!wasWaitedFor) waitpid(id, nullptr, 0);
  wasWaitedFor = true;
  return true;
}

}  // namespace live
