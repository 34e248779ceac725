// step_regulator: plus and minus steps on two boolean outputs.
#ifndef LOOPBOX_STEP_STEP_REGULATOR_H
#define LOOPBOX_STEP_STEP_REGULATOR_H

#include "regulator/band_regulator.h"

namespace loopbox {

// The output is -1, 0 or 1: a minus step above the band, a plus step below it,
// and only in active periods. After an active period come `inactiveHit`
// inactive ones; after periods without regulation, one.
class CStepRegulator final : public CBandRegulator {
 public:
  CStepRegulator();

  void Action(std::uint32_t reason) override;
  void Reset() override;
  bool HasOutput() const override;
  bool Decide(double wish, double value, bool regulate, double* output) override;
  // The minus step first.
  std::uint32_t EventArguments(double output, hx_expr::TValue* arguments) const override;
  double EventOutput(const hx_expr::TValue* arguments) const override;
  void WriteOutput(double output) override;

  char16_t outputPlusName[kNameCapacity + 1] = {};
  std::uint64_t outputPlusId = hx_vinst::kNoDataElement;
  hx_expr::TExprTreeRecord* outputPlusIndexExpr = nullptr;
  char16_t outputMinusName[kNameCapacity + 1] = {};
  std::uint64_t outputMinusId = hx_vinst::kNoDataElement;
  hx_expr::TExprTreeRecord* outputMinusIndexExpr = nullptr;
  std::int32_t inactiveHit = 5;
  std::uint32_t inactiveHitMark = hx_vinst::kNoMark;
  std::int32_t inactiveCounter = 0;  // inactive periods still to pass; negative: no active one comes
};

}  // namespace loopbox

#endif
