// One run of an application, with all that watches it: what `run` and `replay` do.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_ONE_RUN_H
#define LOOPBOX_WORKBENCH_COMMANDS_ONE_RUN_H

#include "workbench/commands/run_options.h"
#include "workbench/run/replay.h"

namespace workbench {

// A record that the run follows.
struct TReplayed {
  CReplay* record = nullptr;  // null: none
  bool isCompared = false;    // its rows with the run's, to the last bit
};

// Yields the exit status.
int RunApplication(const TRunOptions& options, const TCommonOptions& common, const TReplayed& replayed = {});

}  // namespace workbench

#endif
