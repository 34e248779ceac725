// What a panel is told of the instruments that their classes' references know.
#ifndef LOOPBOX_WORKBENCH_RUN_PANEL_FACTS_H
#define LOOPBOX_WORKBENCH_RUN_PANEL_FACTS_H

#include <vector>

#include "panel/facts.h"
#include "runtime/runtime.h"
#include "workbench/references.h"

namespace workbench {

// Of each instrument, in their order. The application outlives them.
std::vector<panel::TFacts> FactsOf(const runtime::CApplication& application, const TReferences& references);

}  // namespace workbench

#endif
