// The commands of the program `loopbox`, each in a file of its own.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_COMMANDS_H
#define LOOPBOX_WORKBENCH_COMMANDS_COMMANDS_H

#include "workbench/commands/command.h"

namespace workbench {

// `common` outlives the command.
TCommand RunCommand(TCommonOptions& common);
TCommand CheckCommand(TCommonOptions& common);
TCommand ProbeCommand(TCommonOptions& common);
TCommand ClassesCommand(TCommonOptions& common);
TCommand DescribeCommand(TCommonOptions& common);
TCommand JournalCommand(TCommonOptions& common);
TCommand PanelCommand(TCommonOptions& common);
TCommand ReplayCommand(TCommonOptions& common);
TCommand ArchiveCommand(TCommonOptions& common);
TCommand TuneCommand(TCommonOptions& common);
TCommand MarginsCommand(TCommonOptions& common);
TCommand FmuCommand(TCommonOptions& common);
TCommand StudyCommand(TCommonOptions& common);
TCommand ValidateCommand(TCommonOptions& common);

}  // namespace workbench

#endif
