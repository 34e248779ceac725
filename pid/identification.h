// Two estimators of the model
//   y(k) + a1 y(k-1) + a2 y(k-2) = b1 u(k-1) + b2 u(k-2)
// from the histories of value (y) and output (u). Each performs one step and may
// end in values that are not finite; the caller decides what then.
#ifndef LOOPBOX_PID_IDENTIFICATION_H
#define LOOPBOX_PID_IDENTIFICATION_H

#include "pid/pid_state.h"

namespace loopbox {

// Type 1: recursive least squares in factorised form with directional
// forgetting. Writes theta, ldFactor, the model, forgetCoefficient, dDiag, nu.
void IdentifyStep(TPidState& state, TIdentState& ident);

// Type 2: a correction from the two newest difference vectors of the data, the
// older one weighted by forgetCoefficient (limited to 0.001 to 1). Writes the
// model.
void RefilStep(TPidState& state);

}  // namespace loopbox

#endif
