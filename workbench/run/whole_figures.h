// Figures of regulators over a whole run, for studies: what a summary has in `whole`,
// and nothing else is kept.
#ifndef LOOPBOX_WORKBENCH_RUN_WHOLE_FIGURES_H
#define LOOPBOX_WORKBENCH_RUN_WHOLE_FIGURES_H

#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "study/measure.h"
#include "workbench/references.h"

namespace workbench {

// None where the instrument is no regulator.
std::vector<std::string> NamesOfFigures(const runtime::CInstrumentHandle& instrument);

// The application and the references outlive it.
std::unique_ptr<study::CMeasure> WholeFigures(const runtime::CApplication& application, const TReferences& references,
                                              const std::vector<study::TFigure>& asked);

}  // namespace workbench

#endif
