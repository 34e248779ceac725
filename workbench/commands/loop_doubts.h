// What is doubtful about how an application's loops are closed.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_LOOP_DOUBTS_H
#define LOOPBOX_WORKBENCH_COMMANDS_LOOP_DOUBTS_H

#include <vector>

#include "runtime/runtime.h"
#include "workbench/references.h"

namespace workbench {

// Of an application that was read and hasn't run: regulated elements that nothing
// computes, and gains that drive the process away from the wish.
std::vector<runtime::TDoubt> LoopDoubts(const runtime::CApplication& application, const TReferences& references);

}  // namespace workbench

#endif
