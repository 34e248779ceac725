// The process of one loop round the state that an application has at a time: what an instrument's value does
// when its output is moved a little. Two runs of the application differ in a pulse of that output, of one period;
// so delays, substeps and all other loops are in the answer as they are in the run, and noise is not.
#ifndef LOOPBOX_WORKBENCH_RUN_LINEARISATION_H
#define LOOPBOX_WORKBENCH_RUN_LINEARISATION_H

#include <cstddef>
#include <optional>
#include <string>

#include "runtime/runtime.h"
#include "tuning/model.h"

namespace workbench {

// The instrument by its index, a continuous regulator; `at` in seconds, of a whole period. None with a message
// where the application can't be read, the value doesn't answer, or its answer doesn't come to rest (an
// integrator's does). Files that keep what is learnt are read and not written.
std::optional<tuning::TSampledModel> Linearised(runtime::TReadOptions options, runtime::CPlugin& plugin,
                                                std::size_t instrument, double at, std::string* error);

}  // namespace workbench

#endif
