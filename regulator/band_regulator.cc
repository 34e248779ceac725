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

void CBandRegulator::Reset() {
  CRegulator::Reset();
  band = {};
  FixOutputRange();
}

void CBandRegulator::FinishRead(vcom::CRect finalRect) {
  CRegulator::FinishRead(finalRect);
  FixOutputRange();
}

}  // namespace loopbox
