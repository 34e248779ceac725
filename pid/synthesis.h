// The design of r0, tI and tD from the identified model.
#ifndef LOOPBOX_PID_SYNTHESIS_H
#define LOOPBOX_PID_SYNTHESIS_H

#include "pid/pid_state.h"

namespace loopbox {

// Reads dt, the model and b2Prev; writes r0, tI, tD, and b2 when it can't serve.
// May end in values that are not finite; the caller decides what then.
void ControllerSynthesis(TPidState& state);

}  // namespace loopbox

#endif
