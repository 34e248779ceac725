// What the program prints: all goes through here, made printable. Messages on
// standard error, while a run works a progress line when that is a terminal.
#ifndef LOOPBOX_WORKBENCH_CONSOLE_H
#define LOOPBOX_WORKBENCH_CONSOLE_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/exit_status.h"

namespace workbench {

// Whatever a text, a file or a plug-in says is printed as runtime::Printable has it.
void Print(std::string_view text, std::FILE* file = stdout);
// Its first line is translated.
void PrintError(const std::string& message);
// The same where the program ends by it: yields the exit status.
EExitStatus Fail(const std::string& message, EExitStatus status = kApplicationWrong);
void PrintDiagnostics(const std::vector<runtime::TDiagnostic>& diagnostics);
std::uint64_t CountOf(const std::vector<runtime::TDiagnostic>& diagnostics, runtime::TDiagnostic::EKind kind);

// The messages of one run. A progress line never mixes with them.
class CRunConsole {
 public:
  explicit CRunConsole(bool showProgress);
  ~CRunConsole() { EraseProgress(); }
  CRunConsole(const CRunConsole&) = delete;
  CRunConsole& operator=(const CRunConsole&) = delete;

  // A line of an instrument (none: empty) at a time in seconds, in the language that was
  // chosen.
  void Note(double time, const std::string& instrument, const std::string& text);
  // The same for something that went wrong: the first kMessagesShown of each
  // instrument are printed, the others counted.
  void RunTimeMessage(const runtime::TRunTimeMessage& message);
  // How many were left out.
  void FinishMessages();
  bool MessagesReported() const { return !reported.empty(); }

  // A line of a script's output.
  void PrintLine(const std::string& line, std::FILE* file);

  // At most ten times a second, and not in the first half second.
  void Progress(double time, double duration);
  void EraseProgress();

 private:
  using TClock = std::chrono::steady_clock;
  static constexpr std::uint64_t kMessagesShown = 20;

  bool showProgress;
  bool progressShown = false;
  TClock::time_point nextProgress;
  std::map<std::string, std::uint64_t> reported;  // messages by instrument
};

}  // namespace workbench

#endif
