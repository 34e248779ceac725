// The command line, read.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_COMMAND_LINE_H
#define LOOPBOX_WORKBENCH_COMMANDS_COMMAND_LINE_H

#include <vector>

#include "workbench/commands/command.h"

namespace workbench {

// The command that was chosen, its options filled in. Null with the exit status
// when there is nothing to do any more: the help or the version was asked for
// and printed, or what is wrong was.
const TCommand* ReadCommandLine(const std::vector<TCommand>& commands, int argumentCount, char** arguments,
                                int* status);

}  // namespace workbench

#endif
