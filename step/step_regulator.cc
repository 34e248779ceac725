#include "step/step_regulator.h"

#include "regulator/conversion.h"

namespace loopbox {

namespace {

constexpr TKeywordRow kKeywords[] = {
    kPosition,
    kExpression,
    kWishValue,
    kCondition,
    {Text<12>(u"output_minus"), OutputEntry<&CStepRegulator::minusElement, hx_expr::kBoolean>},
    {Text<11>(u"output_plus"), OutputEntry<&CRegulator::outputElement, hx_expr::kBoolean>},
    kDivergencePlus,
    kDivergenceMinus,
    {Text<12>(u"inactive_hit"), kIntegerEntry<&TStepPacing::inactiveHit, &TStepPacing::inactiveHitMark>},
    kReceivers,
    kInverse,
    kShowDescription,
    kReadOutputSection,
    kReadWishValueSection,
    kReadValueSection,
    kReadColors,
};

// Fractions are dropped; a number beyond 32 bits becomes the nearest end.
bool SetInactiveHit(CRegulator& regulator, const TProcedureCall& call) {
  double real = 0.0;
  if (!call.TakeReal(0, &real)) return false;
  Field<&TStepPacing::inactiveHit>(regulator) = RealToInteger(real);
  return true;
}

constexpr TProcedureRow kProcedures[] = {
    kSetDivergenceMinus,
    kSetDivergencePlus,
    {4, Text<17>(u"SetInactiveHit__R"), Text<36>(u"SetInactiveHit( InactiveHit : real )"), nullptr, SetInactiveHit},
    kGetDivergenceMinus,
    kGetDivergencePlus,
    {5, Text<17>(u"GetInactiveHit__R"), Text<37>(u"GetInactiveHit( &InactiveHit : real )"), nullptr,
     GetReals<&TStepPacing::inactiveHit>},
};

constexpr TRegulatorTables kTables = {
    {kKeywords, kUnknownIdentifier},
    kProcedures,
    Events({Text<12>(u"OnOutput__ll"), Text<47>(u"OnOutput( &PlusActive, &MinusActive : boolean )")},
           {Text<18>(u"OnOutputChange__ll"), Text<53>(u"OnOutputChange( &PlusActive, &MinusActive : boolean )")}),
};

}  // namespace

CStepRegulator::CStepRegulator() : CBandRegulator(kTables, -1.0) {}

void CStepRegulator::Reset() {
  CBandRegulator::Reset();
  minusElement.Forget(*this);
  pacing = {};
}

bool CStepRegulator::HasOutput() const { return outputElement.Given() || minusElement.Given(); }

void CStepRegulator::Action(std::uint32_t reason) {
  if (!IsIdleCall(reason)) CRegulator::Action(reason);
}

bool CStepRegulator::Decide(double wish, double value, bool regulate, double* output) {
  *output = 0.0;
  if (!regulate) {
    pacing.inactiveCounter = 1;
    return true;
  }
  const EBandPlace place = PlaceOf(wish, value);
  std::int32_t& counter = pacing.inactiveCounter;
  if (counter == 0 && place != kInside) *output = (place == kAbove) != (loop.inverse != 0) ? -1.0 : 1.0;
  counter = counter > 0 ? counter - 1 : pacing.inactiveHit;
  return true;
}

void CStepRegulator::EventArguments(double output, TEventArguments& arguments) const {
  hx_tool::SetValueBoolean(&arguments[0], output == -1.0);
  hx_tool::SetValueBoolean(&arguments[1], output == 1.0);
}

double CStepRegulator::EventOutput(const TEventArguments& arguments) const {
  return (arguments[0].boolean ? -1.0 : 0.0) + (arguments[1].boolean ? 1.0 : 0.0);
}

void CStepRegulator::WriteOutput(double output) {
  outputElement.WriteBoolean(*this, output == 1.0);
  minusElement.WriteBoolean(*this, output == -1.0);
}

}  // namespace loopbox
