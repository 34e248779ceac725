// The program `loopbox`.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/commands/command_line.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/language.h"

namespace workbench {
namespace {

// In the order of the help.
constexpr TCommand (*kCommands[])(TCommonOptions& common) = {
    RunCommand,   CheckCommand,   TuneCommand,  MarginsCommand, ProbeCommand,   ReplayCommand,   JournalCommand,
    PanelCommand, ArchiveCommand, StudyCommand, FmuCommand,     ClassesCommand, DescribeCommand, ValidateCommand};

// kDone, or the status of what is wrong with it.
EExitStatus ChooseLanguage(const TCommonOptions& common, std::string* error) {
  std::vector<std::string> files;
  if (!FindLanguage(common.language, common.plugin, &files, error)) return kCommandLineWrong;
  if (!runtime::SetLanguage(files, error)) return kApplicationWrong;
  TranslateFaults();
  return kDone;
}

int Main(int argumentCount, char** arguments) {
  TCommonOptions common;
  std::vector<TCommand> commands;
  for (const auto make : kCommands) commands.push_back(make(common));
  // The help and what is wrong with the command line are in the language that it asks
  // for; what is wrong with the language is told when all else is right.
  std::string error;
  const TCommonOptions ahead = LookAhead(argumentCount, arguments);
  EExitStatus language = ChooseLanguage(ahead, &error);
  int status = kDone;
  const TCommand* const chosen = ReadCommandLine(commands, argumentCount, arguments, &status);
  if (chosen == nullptr) return status;
  if (common.language != ahead.language || common.plugin != ahead.plugin) language = ChooseLanguage(common, &error);
  return language == kDone ? chosen->work() : Fail(error, language);
}

// The status when what was printed could not be written, which a trace there has
// told already.
int Delivered(int status) {
  errno = 0;
  if ((std::fflush(stdout) == 0 && std::ferror(stdout) == 0) || status == kApplicationWrong) return status;
  std::string message = "standard output can't be written";
  if (errno != 0) message.append(": ").append(std::strerror(errno));
  PrintError(message);
  return status == kDone ? kApplicationWrong : status;
}

}  // namespace
}  // namespace workbench

int main(int argumentCount, char** arguments) {
  workbench::HoldStandardStreams();
  workbench::InstallFaultHandlers();
  try {
    return workbench::Delivered(workbench::Main(argumentCount, arguments));
  } catch (const std::bad_alloc&) {
    workbench::TellNoMemory();
    return workbench::kApplicationWrong;
  } catch (const std::exception& error) {
    return workbench::Fail(error.what());
  }
}
