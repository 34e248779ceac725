// step_regulator: plus and minus steps on two boolean outputs.
#ifndef LOOPBOX_STEP_STEP_REGULATOR_H
#define LOOPBOX_STEP_STEP_REGULATOR_H

#include "regulator/band_regulator.h"

namespace loopbox {

// Assigning {} restores the defaults.
struct TStepPacing {
  std::int32_t inactiveHit = 5;      // inactive periods after each active one
  std::int32_t inactiveCounter = 0;  // inactive periods still to pass; when negative, no active one comes
  std::uint32_t inactiveHitMark = hx_vinst::kNoMark;
};

// The output is -1, 0 or 1. In an active period it is a minus step above the band
// and a plus step below it, in an inactive one it is 0. After an active period
// come `inactiveHit` inactive ones, after periods without regulation one.
class CStepRegulator final : public CBandRegulator {
 public:
  CStepRegulator();

  void Action(std::uint32_t reason) override;
  void Reset() override;
  bool HasOutput() const override;
  bool Decide(double wish, double value, bool regulate, double* output) override;
  // The minus step first.
  void EventArguments(double output, TEventArguments& arguments) const override;
  double EventOutput(const TEventArguments& arguments) const override;
  void WriteOutput(double output) override;

  // The base's element is that of the plus step.
  TOutputElement minusElement;
  TStepPacing pacing;
};

template <>
struct TFieldPart<TStepPacing> : TMemberPart<&CStepRegulator::pacing> {};

}  // namespace loopbox

#endif
