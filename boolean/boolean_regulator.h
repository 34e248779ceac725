// boolean_regulator: a two-state output, switched by hysteresis.
#ifndef LOOPBOX_BOOLEAN_BOOLEAN_REGULATOR_H
#define LOOPBOX_BOOLEAN_BOOLEAN_REGULATOR_H

#include "regulator/band_regulator.h"

namespace loopbox {

// The output is on below the band, off above it, and inside the band as the
// value left it last; 1 is on. With `inverse` the other way round.
class CBooleanRegulator final : public CBandRegulator {
 public:
  CBooleanRegulator();

  void Reset() override;
  bool HasOutput() const override;
  bool Decide(double wish, double value, bool regulate, double* output) override;
  std::uint32_t EventArguments(double output, hx_expr::TValue* arguments) const override;
  double EventOutput(const hx_expr::TValue* arguments) const override;
  void WriteOutput(double output) override;

  char16_t outputName[kNameCapacity + 1] = {};
  std::uint64_t outputId = hx_vinst::kNoDataElement;
  hx_expr::TExprTreeRecord* outputIndexExpr = nullptr;
  std::uint8_t aboveBand = 1;  // the value was above the band last, not below it
};

}  // namespace loopbox

#endif
