// What the program does when something fails that it can't do without: memory,
// room for a file, a plug-in's soundness.
#ifndef LOOPBOX_WORKBENCH_FAULTS_H
#define LOOPBOX_WORKBENCH_FAULTS_H

#include <array>
#include <csignal>
#include <cstddef>
#include <string>

namespace workbench {

// First of all. A standard stream that was closed takes its descriptor, so that no
// file gets it and with it what is meant for the stream. Reading ends at once, and
// writing fails, as on a closed one.
void HoldStandardStreams();

// Once, at the start. A file that grows past what the system allows becomes a
// write error. An exception that nothing can catch, as when memory ends inside
// a plug-in, ends the program with a message and the status kApplicationWrong.
void InstallFaultHandlers();

// Once, when the language is chosen: what the handlers say is in it.
void TranslateFaults();

// On standard error, without taking any.
void TellNoMemory();

// While one lives, a crash, a signal that the process sends to itself, and an exit
// that isn't the program's own end it with the status kApplicationWrong and a line
// on standard error: `message`, and what happened. Of several the latest counts.
class CCrashNotice {
 public:
  explicit CCrashNotice(const std::string& message);
  ~CCrashNotice();
  CCrashNotice(const CCrashNotice&) = delete;
  CCrashNotice& operator=(const CCrashNotice&) = delete;

 private:
  static constexpr std::array kCrashes = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
  // Others may send these from outside: then they end the program as ever.
  static constexpr std::array kEnding = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM, SIGTRAP, SIGSYS,
                                         SIGUSR1, SIGUSR2, SIGALRM, SIGPROF, SIGXCPU, SIGPOLL};
  static constexpr std::size_t kCount = kCrashes.size() + kEnding.size();

  std::string message;
  const char* outer;  // of the notice before; null: none
  std::array<struct sigaction, kCount> before{};
};

}  // namespace workbench

#endif
