// What the program does when something fails that it can't do without: memory,
// room for a file, a plug-in's soundness.
#ifndef LOOPBOX_WORKBENCH_FAULTS_H
#define LOOPBOX_WORKBENCH_FAULTS_H

#include <array>
#include <csignal>
#include <string>

namespace workbench {

constexpr char kOutOfMemory[] = "loopbox: out of memory\n";

// Once, at the start. A file that grows past what the system allows becomes a
// write error. An exception that nothing can catch, as when memory ends inside
// a plug-in, ends the program with a message and the status kApplicationWrong.
void InstallFaultHandlers();

// While one lives, a crash ends the program with the status kApplicationWrong
// and a line on standard error: `message`, and what happened. One at a time.
class CCrashNotice {
 public:
  explicit CCrashNotice(std::string message);
  ~CCrashNotice();
  CCrashNotice(const CCrashNotice&) = delete;
  CCrashNotice& operator=(const CCrashNotice&) = delete;

 private:
  static constexpr std::array kSignals = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

  std::string message;
  std::array<struct sigaction, kSignals.size()> before{};
};

}  // namespace workbench

#endif
