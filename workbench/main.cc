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
constexpr TCommand (*kCommands[])(TCommonOptions& common) = {RunCommand,     CheckCommand,    ProbeCommand,
                                                             ClassesCommand, DescribeCommand, ValidateCommand};

int Main(int argumentCount, char** arguments) {
  TCommonOptions common;
  std::vector<TCommand> commands;
  for (const auto make : kCommands) commands.push_back(make(common));
  int status = kDone;
  const TCommand* const chosen = ReadCommandLine(commands, argumentCount, arguments, &status);
  if (chosen == nullptr) return status;
  std::vector<std::string> languageFiles;
  std::string error;
  if (!FindLanguage(common.language, common.plugin, &languageFiles, &error)) return Fail(error, kCommandLineWrong);
  if (!runtime::SetLanguage(languageFiles, &error)) return Fail(error);
  return chosen->work();
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
    std::fputs(workbench::kOutOfMemory, stderr);
    return workbench::kApplicationWrong;
  } catch (const std::exception& error) {
    return workbench::Fail(error.what());
  }
}
