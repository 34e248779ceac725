#include "step/step_regulator.h"

#include "regulator/conversion.h"

namespace loopbox {

namespace {

using TThis = CStepRegulator;

constexpr std::int32_t kInactiveHit = 5;

constexpr TKeyword kKeywords[] = {
    kPosition,
    kExpression,
    kWishValue,
    kCondition,
    {Text<12>(u"output_minus"),
     ElementEntry<&TThis::outputMinusId, &TThis::outputMinusIndexExpr, &TThis::outputMinusName, hx_expr::kBoolean>},
    {Text<11>(u"output_plus"),
     ElementEntry<&TThis::outputPlusId, &TThis::outputPlusIndexExpr, &TThis::outputPlusName, hx_expr::kBoolean>},
    kDivergencePlus,
    kDivergenceMinus,
    {Text<12>(u"inactive_hit"), kIntegerEntry<&TThis::inactiveHit, &TThis::inactiveHitMark>},
    kReceivers,
    kInverse,
    kShowDescription,
    kReadOutputSection,
    kReadWishValueSection,
    kReadValueSection,
    kReadColors,
};

// Fractions are dropped; a number beyond 32 bits becomes the nearest end.
bool SetInactiveHit(CRegulator& regulator, const TCall& call) {
  double real = 0.0;
  if (!call.TakeReal(0, &real)) return false;
  Field<&TThis::inactiveHit>(regulator) = RealToInteger(real);
  return true;
}

constexpr TProcedure kProcedures[] = {
    kSetDivergenceMinus,
    kSetDivergencePlus,
    {4, Text<17>(u"SetInactiveHit__R"), Text<36>(u"SetInactiveHit( InactiveHit : real )"), nullptr, SetInactiveHit},
    kGetDivergenceMinus,
    kGetDivergencePlus,
    {5, Text<17>(u"GetInactiveHit__R"), Text<37>(u"GetInactiveHit( &InactiveHit : real )"), nullptr,
     GetReals<&TThis::inactiveHit>},
};

constexpr TRegulatorTables kTables = {
    {kKeywords, kUnknownIdentifier},
    kProcedures,
    {{Text<12>(u"OnOutput__ll"), Text<47>(u"OnOutput( &PlusActive, &MinusActive : boolean )")},
     {Text<18>(u"OnOutputChange__ll"), Text<53>(u"OnOutputChange( &PlusActive, &MinusActive : boolean )")}},
};

}  // namespace

CStepRegulator::CStepRegulator() : CBandRegulator(kTables, -1.0) {}

void CStepRegulator::Reset() {
  CBandRegulator::Reset();
  ForgetElement(outputPlusId, outputPlusIndexExpr, outputPlusName);
  ForgetElement(outputMinusId, outputMinusIndexExpr, outputMinusName);
  inactiveHit = kInactiveHit;
  inactiveHitMark = hx_vinst::kNoMark;
  inactiveCounter = 0;
}

bool CStepRegulator::HasOutput() const { return NamesElement(outputPlusId) || NamesElement(outputMinusId); }

void CStepRegulator::Action(std::uint32_t reason) {
  if (!IsIdleCall(reason)) CRegulator::Action(reason);
}

bool CStepRegulator::Decide(double wish, double value, bool regulate, double* output) {
  *output = 0.0;
  if (!regulate) {
    inactiveCounter = 1;
    return true;
  }
  const TPlace place = PlaceOf(wish, value);
  if (inactiveCounter == 0 && place != kInside) *output = (place == kAbove) != (inverse != 0) ? -1.0 : 1.0;
  inactiveCounter = inactiveCounter > 0 ? inactiveCounter - 1 : inactiveHit;
  return true;
}

std::uint32_t CStepRegulator::EventArguments(double output, hx_expr::TValue* arguments) const {
  hx_tool::SetValueBoolean(&arguments[0], output == -1.0);
  hx_tool::SetValueBoolean(&arguments[1], output == 1.0);
  return 2;
}

double CStepRegulator::EventOutput(const hx_expr::TValue* arguments) const {
  return (arguments[0].boolean ? -1.0 : 0.0) + (arguments[1].boolean ? 1.0 : 0.0);
}

void CStepRegulator::WriteOutput(double output) {
  WriteBoolean(outputPlusId, outputPlusIndexExpr, output == 1.0);
  WriteBoolean(outputMinusId, outputMinusIndexExpr, output == -1.0);
}

}  // namespace loopbox
