#include "workbench/console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::chrono::milliseconds kProgressDelay(500);
constexpr std::chrono::milliseconds kProgressInterval(100);

// What went to standard output before comes first, where both are one terminal.
void Put(const std::string& text) {
  std::fflush(stdout);
  Print(text, stderr);
}

}  // namespace

void Print(std::string_view text, std::FILE* file) {
  const std::string printable = runtime::Printable(text);
  std::fwrite(printable.data(), 1, printable.size(), file);
}

void PrintError(const std::string& message) {
  // Behind the first line is what it is about: the line of a file and a caret.
  const std::size_t end = std::min(message.find('\n'), message.size());
  Put("loopbox: " + runtime::Translated(message.substr(0, end)) + message.substr(end) + "\n");
}

EExitStatus Fail(const std::string& message, EExitStatus status) {
  PrintError(message);
  return status;
}

void PrintDiagnostics(const std::vector<runtime::TDiagnostic>& diagnostics) {
  for (const auto& diagnostic : diagnostics) Put(runtime::Format(diagnostic));
}

std::uint64_t CountOf(const std::vector<runtime::TDiagnostic>& diagnostics, runtime::TDiagnostic::EKind kind) {
  return static_cast<std::uint64_t>(std::count_if(diagnostics.begin(), diagnostics.end(),
                                                  [kind](const auto& diagnostic) { return diagnostic.kind == kind; }));
}

CRunConsole::CRunConsole(bool progress)
    : showProgress(progress && isatty(STDERR_FILENO) != 0), nextProgress(TClock::now() + kProgressDelay) {}

void CRunConsole::Note(double time, const std::string& instrument, const std::string& text) {
  EraseProgress();
  Put("t=" + Seconds(time) + " s  " + (instrument.empty() ? "" : instrument + ": ") + text + "\n");
}

void CRunConsole::RunTimeMessage(const runtime::TRunTimeMessage& message) {
  if (++reported[message.instrument] <= kMessagesShown) Note(message.time, message.instrument, message.text);
}

void CRunConsole::FinishMessages() {
  EraseProgress();
  for (const auto& [instrument, count] : reported) {
    if (count > kMessagesShown)
      Put((instrument.empty() ? "" : instrument + ": ") +
          runtime::Translated("… " + std::to_string(count - kMessagesShown) + " more") + "\n");
  }
}

void CRunConsole::PrintLine(const std::string& line, std::FILE* file) {
  EraseProgress();
  Print(line + "\n", file);
}

void CRunConsole::Progress(double time, double duration) {
  if (!showProgress) return;
  const auto now = TClock::now();
  if (now < nextProgress) return;
  nextProgress = now + kProgressInterval;
  const double share = duration > 0.0 ? std::clamp(time / duration, 0.0, 1.0) : 1.0;
  const std::string reached = runtime::Translated("t=" + Seconds(time) + " s of " + Seconds(duration) + " s");
  std::fprintf(stderr, "\r\033[K%3d %%  %s", static_cast<int>(share * 100.0), reached.c_str());
  std::fflush(stderr);
  progressShown = true;
}

void CRunConsole::EraseProgress() {
  if (!progressShown) return;
  std::fputs("\r\033[K", stderr);
  progressShown = false;
}

}  // namespace workbench
