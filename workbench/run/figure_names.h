// What the figures of a regulator are called in JSON and in studies. docs/metrics.md
// describes them.
#ifndef LOOPBOX_WORKBENCH_RUN_FIGURE_NAMES_H
#define LOOPBOX_WORKBENCH_RUN_FIGURE_NAMES_H

#include <optional>
#include <span>

#include "workbench/run/metrics.h"

namespace workbench {

struct TFigureName {
  const char* name;
  std::optional<double> TFigures::*figure;
};

// Those of a kind, in the order of a summary.
std::span<const TFigureName> FigureNames(ERegulatorKind kind);

}  // namespace workbench

#endif
