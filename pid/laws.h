// The five control laws. Each computes the output u(k) of this period from the
// histories: w the wish value, y the controlled value, u the output, e = w - y.
// When a law runs, wish and value hold this period in element 0, output the
// previous period in element 1. A result may be not finite where a divisor is
// zero; the caller decides what then.
//
// T0 is the period `dt`, in seconds like tI and tD. The laws are incremental:
// they go on from whatever the previous output was.
#ifndef LOOPBOX_PID_LAWS_H
#define LOOPBOX_PID_LAWS_H

#include "pid/pid_state.h"

namespace loopbox {

double ClassicalLaw(const TPidState& state);
double TakahashiLaw(const TPidState& state);
double ClassicalDelayLaw(const TPidState& state);
double TakahashiDelayLaw(const TPidState& state);
// A zero a2, b2 or b1 becomes 1 in the state.
double VariableLaw(TPidState& state);

}  // namespace loopbox

#endif
