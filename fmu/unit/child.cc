// The program that a unit carries in its resources: the processes of one instance.
//
//   loopbox-fmu RESOURCES     with a channel at descriptor 3
//
// It is the instance's nest first, which makes workers. They are its children, and so
// are the copies of them: each ends with the nest, and the nest with the importer's
// process, whatever their ends are.
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "fmu/unit/controller.h"
#include "fmu/unit/frames.h"

namespace fmu {
namespace {

constexpr int kNestChannel = 3;
constexpr int kHungUp = 0;
constexpr int kNoFrame = 1;

pid_t importer = 0;

// Told at the end of the thread that started this process too: only the end of the
// whole importer counts.
void OnParentsEnd(int) {
  if (getppid() != importer) _exit(kHungUp);
}

// From now on this process ends with the nest; false when that has ended already.
bool EndWith(pid_t nest) {
  signal(SIGCHLD, SIG_DFL);
  signal(SIGHUP, SIG_DFL);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  return getppid() == nest;
}

int TakeDescriptor(TFrameBuffer* buffer) {
  const int descriptor = buffer->descriptor;
  buffer->descriptor = -1;
  return descriptor;
}

// One side of a conversation: the channel, and what is left of what it brought.
struct TConversation {
  explicit TConversation(int theChannel) : channel(theChannel) { received.descriptor = -1; }
  TConversation(const TConversation&) = delete;
  TConversation& operator=(const TConversation&) = delete;
  ~TConversation() {
    FreeBuffer(&received);
    FreeWriter(&writer);
    close(channel);
  }

  bool Send() { return SendFrames(channel, &writer, -1) != 0; }

  int channel;
  TFrameBuffer received = {};
  TFrameWriter writer = {};
};

// Goes on as a copy of this process that answers by another channel; the original
// returns -1. The copy has the nest for its parent, as a worker has: who made it is
// gone.
int Copied(int channel, pid_t nest) {
  const pid_t between = fork();
  if (between > 0) {
    while (waitpid(between, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  if (between != 0) {
    close(channel);
    return -1;
  }
  const pid_t self = getpid();
  const pid_t copy = fork();
  if (copy != 0) _exit(0);
  while (getppid() == self) sched_yield();
  if (!EndWith(nest)) _exit(kHungUp);
  return channel;
}

void Refuse(TConversation& conversation, const std::string& message) {
  BeginFrame(&conversation.writer, kDone);
  PutCount(&conversation.writer, kWrong);
  PutNumber(&conversation.writer, 0.0);
  PutCount(&conversation.writer, 1);
  PutCount(&conversation.writer, kWrong);
  PutText(&conversation.writer, message.data(), message.size());
  PutCount(&conversation.writer, 0);
  conversation.Send();
}

int Serve(CController& controller, std::unique_ptr<TConversation> conversation, pid_t nest) {
  for (;;) {
    TFrame frame;
    const int received = ReceiveFrame(conversation->channel, &conversation->received, &frame);
    if (received <= 0) return received == 0 ? kHungUp : kNoFrame;
    bool isAnswered = true;
    if (frame.kind == kCopy) {
      const int channel = TakeDescriptor(&conversation->received);
      const int own = channel < 0 ? -1 : Copied(channel, nest);
      if (own < 0) continue;
      conversation = std::make_unique<TConversation>(own);
      controller.Answer(&conversation->writer);
    } else if (!controller.Do(frame, &conversation->writer, &isAnswered)) {
      return kNoFrame;
    }
    if (isAnswered && !conversation->Send()) return kHungUp;
  }
}

int Work(const std::string& folder, int channel, pid_t nest) {
  auto conversation = std::make_unique<TConversation>(channel);
  std::string error;
  const std::unique_ptr<CController> controller = CController::Load(folder, &error);
  if (!controller) {
    Refuse(*conversation, error);
    return kNoFrame;
  }
  controller->Greet(&conversation->writer);
  return conversation->Send() ? Serve(*controller, std::move(conversation), nest) : kHungUp;
}

int WorkWhole(const std::string& folder, int channel, pid_t nest) {
  try {
    return Work(folder, channel, nest);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "loopbox-fmu: %s\n", error.what());
    return kNoFrame;
  }
}

int Nest(const std::string& folder) {
  importer = getppid();
  signal(SIGCHLD, SIG_IGN);  // who ends leaves nothing
  struct sigaction action = {};
  action.sa_handler = OnParentsEnd;
  sigaction(SIGHUP, &action, nullptr);
  prctl(PR_SET_PDEATHSIG, SIGHUP);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  close_range(kNestChannel + 1, ~0U, 0);
  TConversation conversation(kNestChannel);
  const pid_t nest = getpid();
  for (;;) {
    TFrame frame;
    if (ReceiveFrame(conversation.channel, &conversation.received, &frame) <= 0 || frame.kind != kBegin) return 0;
    const int channel = TakeDescriptor(&conversation.received);
    if (channel < 0) continue;
    if (fork() == 0) {
      close(conversation.channel);
      _exit(EndWith(nest) ? WorkWhole(folder, channel, nest) : kHungUp);
    }
    close(channel);
  }
}

}  // namespace
}  // namespace fmu

int main(int argumentCount, char** arguments) {
  if (argumentCount == 2) return fmu::Nest(arguments[1]);
  std::fputs("This program is part of a functional mock-up unit, which starts it.\n", stderr);
  return 2;
}
