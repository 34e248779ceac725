#include "regulator/band_regulator.h"

namespace loopbox {

CBandRegulator::CBandRegulator(const TRegulatorTables& classTables, double lowest)
    : CRegulator(classTables), lowestOutput(lowest) {}

void CBandRegulator::FixOutputRange() {
  if (outputMeter == nullptr) return;
  outputMeter->rangeFrom = lowestOutput;
  outputMeter->rangeTo = 1.0;
  outputMeter->lowLimit = lowestOutput;
  outputMeter->highLimit = 1.0;
}

void CBandRegulator::InitInstrument() {
  CRegulator::InitInstrument();
  Reset();
}

void CBandRegulator::Reset() {
  CRegulator::Reset();
  divergencePlus = 0.0;
  divergenceMinus = 0.0;
  divergencePlusMark = hx_vinst::kNoMark;
  divergenceMinusMark = hx_vinst::kNoMark;
  FixOutputRange();
}

void CBandRegulator::FinishRead(vcom::CRect finalRect) {
  CRegulator::FinishRead(finalRect);
  FixOutputRange();
  FindEvents();
}

CBandRegulator::TPlace CBandRegulator::PlaceOf(double wish, double value) const {
  if (value > wish + divergencePlus) return kAbove;
  if (value < wish - divergenceMinus) return kBelow;
  return kInside;
}

void CBandRegulator::WriteBoolean(std::uint64_t elementId, hx_expr::TExprTreeRecord* indexExpression, bool value) {
  hx_expr::TValue written = {};
  hx_tool::SetValueBoolean(&written, value);
  SetDataElement(elementId, indexExpression, &written);
}

}  // namespace loopbox
