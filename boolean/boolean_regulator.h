// boolean_regulator: a two-state output, switched by hysteresis.
#ifndef LOOPBOX_BOOLEAN_BOOLEAN_REGULATOR_H
#define LOOPBOX_BOOLEAN_BOOLEAN_REGULATOR_H

#include "regulator/band_regulator.h"

namespace loopbox {

// Assigning {} restores the default.
struct THysteresis {
  std::uint8_t aboveBand = 1;  // the value was above the band last, not below it
};

// The output is on below the band, off above it, and inside the band as the
// value left it last; 1 is on. With `inverse` on and off are exchanged.
class CBooleanRegulator final : public CBandRegulator {
 public:
  CBooleanRegulator();

  void Reset() override;
  bool Decide(double wish, double value, bool regulate, double* output) override;
  void EventArguments(double output, TEventArguments& arguments) const override;
  double EventOutput(const TEventArguments& arguments) const override;
  void WriteOutput(double output) override;

  THysteresis hysteresis;
};

}  // namespace loopbox

#endif
