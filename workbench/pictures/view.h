// What a person wants to see of a run.
#ifndef LOOPBOX_WORKBENCH_PICTURES_VIEW_H
#define LOOPBOX_WORKBENCH_PICTURES_VIEW_H

#include <optional>

#include "painting/plot.h"
#include "workbench/run/quantity.h"

namespace workbench {

struct TView {
  TCurves curves;                              // by panel; empty: the regulators'
  std::optional<painting::TStretch> window{};  // none: the whole run
};

}  // namespace workbench

#endif
