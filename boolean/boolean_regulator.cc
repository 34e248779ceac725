#include "boolean/boolean_regulator.h"

namespace loopbox {

namespace {

using TThis = CBooleanRegulator;

constexpr TKeyword kKeywords[] = {
    kPosition,
    kExpression,
    kWishValue,
    kCondition,
    {Text<6>(gaugekit_::kwOUTPUT),
     ElementEntry<&TThis::outputId, &TThis::outputIndexExpr, &TThis::outputName, hx_expr::kBoolean>},
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

constexpr TProcedure kProcedures[] = {kGetDivergenceMinus, kGetDivergencePlus, kSetDivergenceMinus, kSetDivergencePlus};

constexpr TRegulatorTables kTables = {
    {kKeywords, kUnknownIdentifier},
    kProcedures,
    {{Text<11>(u"OnOutput__l"), Text<29>(u"OnOutput( &Active : boolean )")},
     {Text<17>(u"OnOutputChange__l"), Text<35>(u"OnOutputChange( &Active : boolean )")}},
};

}  // namespace

CBooleanRegulator::CBooleanRegulator() : CBandRegulator(kTables, 0.0) {}

void CBooleanRegulator::Reset() {
  CBandRegulator::Reset();
  ForgetElement(outputId, outputIndexExpr, outputName);
  aboveBand = 1;
}

bool CBooleanRegulator::HasOutput() const { return NamesElement(outputId); }

bool CBooleanRegulator::Decide(double wish, double value, bool regulate, double* output) {
  bool on = false;
  if (regulate) {
    const TPlace place = PlaceOf(wish, value);
    if (place != kInside) aboveBand = place == kAbove;
    on = !aboveBand;
  }
  *output = on != (inverse != 0) ? 1.0 : 0.0;
  return true;
}

std::uint32_t CBooleanRegulator::EventArguments(double output, hx_expr::TValue* arguments) const {
  hx_tool::SetValueBoolean(&arguments[0], output == 1.0);
  return 1;
}

double CBooleanRegulator::EventOutput(const hx_expr::TValue* arguments) const {
  return arguments[0].boolean ? 1.0 : 0.0;
}

void CBooleanRegulator::WriteOutput(double output) { WriteBoolean(outputId, outputIndexExpr, output != 0.0); }

}  // namespace loopbox
