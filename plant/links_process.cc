#include "plant/links_process.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "live/clock.h"
#include "plant/link.h"
#include "plant/modbus/modbus_link.h"
#include "plant/mqtt/mqtt_link.h"
#include "runtime/runtime.h"

namespace plant {
namespace {

constexpr double kLongestPause = 60.0;  // seconds between two looks at the beat

// Standard error may be closed, or nobody may read it: what it doesn't take at once is
// not said.
void Say(const std::string& text) {
  const std::string line = "loopbox: " + runtime::Translated(text) + "\n";
  pollfd polled{STDERR_FILENO, POLLOUT, 0};
  if (poll(&polled, 1, 0) == 1 && (polled.revents & POLLOUT) != 0 &&
      write(STDERR_FILENO, line.data(), line.size()) < 0) {
    return;
  }
}

// Threads that have a link each. They are never waited for without a bound, so the
// process ends without them, and what they use is never freed.
class CThreads {
 public:
  CThreads(TLinksProcess& theProcess, CControl& theControl) : process(theProcess), control(theControl) {
    for (std::size_t i = 0; i < process.connections.size(); ++i) {
      const TConnection& connection = process.connections[i];
      CShare& share = process.shares[i];
      share.wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
      if (connection.kind == TConnection::kModbus) {
        links.push_back(std::make_unique<CModbusLink>(connection, share, control, lines.Of(connection)));
      } else {
        links.push_back(std::make_unique<CMqttLink>(connection, share, control, process.secrets[i]));
      }
    }
  }

  void Start(bool drives) {
    for (const auto& link : links) {
      std::thread([this, drives, &link = *link] {
        if (drives) link.Drive();
        if (!control.IsDry()) link.MakeSafe();
        link.Leave();
        const std::lock_guard<std::mutex> lock(mutex);
        ++ended;
        change.notify_all();
      }).detach();
    }
  }

  void End() {
    control.End();
    const std::uint64_t one = 1;
    for (const CShare& share : process.shares) {
      // A full counter wakes as well.
      if (write(share.wake, &one, sizeof(one)) < 0) continue;
    }
  }

  void Wait(double seconds) {
    std::unique_lock<std::mutex> lock(mutex);
    change.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return ended == links.size(); });
  }

 private:
  TLinksProcess& process;
  CControl& control;
  CLines lines;
  std::vector<std::unique_ptr<CLink>> links;
  std::mutex mutex;
  std::condition_variable change;
  std::size_t ended = 0;
};

// Until the loop's process is gone, or its beat is late: what happened, for a reader.
std::string WatchLoop(const TLinksProcess& process, const CControl& control, int loop) {
  const double limit = BeatLimit(process.period);
  for (;;) {
    const double age = control.BeatAge();
    if (std::isfinite(age) && age > limit) {
      return "no period of the run has begun for " + std::to_string(std::lround(age * 1000.0)) + " ms";
    }
    // Before the first beat there is no deadline.
    const double pause = std::isfinite(age) ? limit - age : 0.05;
    pollfd polled{loop, 0, 0};
    if (poll(&polled, 1, static_cast<int>(std::ceil(std::min(pause, kLongestPause) * 1000.0))) > 0)
      return "the run's process is gone";
  }
}

void SayOutcome(const TLinksProcess& process) {
  for (std::size_t i = 0; i < process.connections.size(); ++i) {
    if (process.isDry || !HasSafe(process.connections[i])) continue;
    const TLinkState& state = *process.shares[i].state;
    const std::string& name = process.connections[i].name;
    if (state.safe.load() == ESafe::kWritten) {
      Say(name + ": outputs have their safe values");
    } else {
      Say(name + ": safe values could not be written: " +
          (state.safe.load() == ESafe::kFailed ? state.whyNotSafe.text : "no answer"));
    }
  }
}

}  // namespace

int KeepLinks(TLinksProcess& process, int loop) {
  CControl control(*process.beat, process.period, process.isDry);
  CThreads threads(process, control);
  threads.Start(true);
  const std::string why = WatchLoop(process, control, loop);
  process.beat->why = MessageOf(why);
  threads.End();
  const bool isInOrder = process.beat->isFinishing.load();
  if (!isInOrder) Say(why + ": outputs are brought to their safe values");
  threads.Wait(EndBound(process));
  if (!isInOrder) SayOutcome(process);
  std::_Exit(0);  // whatever a thread still waits for
}

int OnlyMakeSafe(TLinksProcess& process) {
  CControl control(*process.beat, process.period, process.isDry);
  control.End();
  CThreads threads(process, control);
  threads.Start(false);
  Say("the links' process has died: a second one brings outputs to their safe values");
  threads.Wait(EndBound(process));
  SayOutcome(process);
  std::_Exit(0);
}

double EndBound(const TLinksProcess& process) {
  double bound = 0.0;
  for (const TConnection& connection : process.connections) bound = std::max(bound, SafeBound(connection));
  return bound + 0.5;
}

std::string HowEnded(int status) {
  if (WIFSIGNALED(status)) return strsignal(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace plant
