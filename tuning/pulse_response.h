// A sampled model from how the value answered a pulse of the input: numbers, no equations.
#ifndef LOOPBOX_TUNING_PULSE_RESPONSE_H
#define LOOPBOX_TUNING_PULSE_RESPONSE_H

#include <optional>
#include <vector>

#include "tuning/model.h"

namespace tuning {

// answer[k] is what the value did at the instant k + 1 for an input of 1 from the instant 0 to 1 and of 0 after
// it. The model's numerator is the answer itself, as far as it isn't the geometric sequence that its second half
// is (the slowest lag; an integrator's ratio is 1): that becomes a denominator. None where the second half is
// neither nothing nor such a sequence: the answer must be followed for longer, or does not come to rest.
std::optional<TSampledModel> FromPulse(const std::vector<double>& answer, double period);

}  // namespace tuning

#endif
