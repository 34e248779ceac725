#include "boolean/boolean_regulator.h"

namespace loopbox {

namespace {

constexpr TKeywordRow kKeywords[] = {
    kPosition,
    kExpression,
    kWishValue,
    kCondition,
    {Text<6>(gaugekit_::kwOUTPUT), OutputEntry<&CRegulator::outputElement, hx_expr::kBoolean>},
    kDivergencePlus,
    kDivergenceMinus,
    kInverse,
    kReceivers,
    kShowDescription,
    kReadOutputSection,
    kReadWishValueSection,
    kReadValueSection,
    kReadColors,
};

constexpr TProcedureRow kProcedures[] = {kGetDivergenceMinus, kGetDivergencePlus, kSetDivergenceMinus,
                                         kSetDivergencePlus};

constexpr TRegulatorTables kTables = {
    {kKeywords, kUnknownIdentifier},
    kProcedures,
    Events({Text<11>(u"OnOutput__l"), Text<29>(u"OnOutput( &Active : boolean )")},
           {Text<17>(u"OnOutputChange__l"), Text<35>(u"OnOutputChange( &Active : boolean )")}),
};

}  // namespace

CBooleanRegulator::CBooleanRegulator() : CBandRegulator(kTables, 0.0) {}

void CBooleanRegulator::Reset() {
  CBandRegulator::Reset();
  hysteresis = {};
}

bool CBooleanRegulator::Decide(double wish, double value, bool regulate, double* output) {
  bool on = false;
  if (regulate) {
    const EBandPlace place = PlaceOf(wish, value);
    if (place != kInside) hysteresis.aboveBand = place == kAbove;
    on = !hysteresis.aboveBand;
  }
  *output = on != (loop.inverse != 0) ? 1.0 : 0.0;
  return true;
}

void CBooleanRegulator::EventArguments(double output, TEventArguments& arguments) const {
  hx_tool::SetValueBoolean(&arguments[0], output == 1.0);
}

double CBooleanRegulator::EventOutput(const TEventArguments& arguments) const {
  return arguments[0].boolean ? 1.0 : 0.0;
}

void CBooleanRegulator::WriteOutput(double output) { outputElement.WriteBoolean(*this, output != 0.0); }

}  // namespace loopbox
