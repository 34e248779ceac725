// The process that a unit of anybody's runs in, as an importer.
#ifndef LOOPBOX_FMU_IMPORTING_H
#define LOOPBOX_FMU_IMPORTING_H

#include <vector>

#include "fmu/description.h"
#include "fmu/loaded_unit.h"

namespace fmu {

struct TImported {
  std::vector<TScalar> inputs;  // parameters among them, which are set before the start alone
  std::vector<TScalar> outputs;
};

// Loads the unit, and answers by the channel: frames kSet, whose references are places
// among the inputs, kStart and kStep, of which each of the latter two has the outputs'
// values as its answer. Until the channel hangs up; yields an exit status.
int Import(CLoadedUnit& unit, const TImported& imported, int channel);

}  // namespace fmu

#endif
