#include "regulator/real_regulator.h"

#include "regulator/conversion.h"

namespace loopbox {

CRealRegulator::CRealRegulator(const TRegulatorTables& classTables) : CRegulator(classTables) {}

void CRealRegulator::EventArguments(double output, TEventArguments& arguments) const {
  hx_tool::SetValueLongReal(&arguments[0], output);
}

double CRealRegulator::EventOutput(const TEventArguments& arguments) const {
  double output = std::nan("");
  ValueToReal(arguments[0], &output);
  return output;
}

void CRealRegulator::WriteOutput(double output) { outputElement.WriteReal(*this, output); }

}  // namespace loopbox
