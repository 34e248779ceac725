// An operator's commands as a record keeps them, in commands.csv.
#ifndef LOOPBOX_WORKBENCH_RUN_RECORDED_COMMANDS_H
#define LOOPBOX_WORKBENCH_RUN_RECORDED_COMMANDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "panel/command.h"

namespace workbench {

// Who asked for it isn't kept: that stands in the journal.
struct TRecordedCommand {
  std::uint64_t period = 0;  // of the run, from 1
  std::string target;        // the operator's entry or the alarm; empty: the whole plant
  panel::TCommand command;   // but for its thing
};

std::string CommandColumns();  // the first line, with its end
std::string CommandRow(const TRecordedCommand& recorded);
// Of the whole file; false with the number of the first line that is none of it.
bool ReadCommands(const std::string& text, std::vector<TRecordedCommand>* commands, std::uint64_t* wrongLine);

}  // namespace workbench

#endif
