// The life of a pid_regulator, and the keywords of its definition.
#include "pid/pid_regulator.h"
#include "regulator/allocation.h"

namespace loopbox {

namespace {

using TSettings = TPidSettings;

// In the order of kLawCodes.
constexpr char16_t kLawNames[][gaugekit::kNameLength + 1] = {u"classical", u"classicalDelay", u"takahashi",
                                                             u"takahashiDelay", u"variable"};
static_assert(std::size(kLawNames) == std::size(kLawCodes));
constexpr TNames kLaws = {kLawNames, kLawCodes};

bool FileNameEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  return regulator.ReadEquFile(definition.capacity, definition.message, runlib::kPathCapacity,
                               Field<&TSettings::fileName>(regulator));
}

constexpr TKeywordRow kParameterKeywords[] = {
    {Text<14>(u"end_parameters"), nullptr},
    {Text<7>(u"param_1"), kRealEntry<&TSettings::param1, &TSettings::param1Mark>},
    {Text<7>(u"param_2"), kRealEntry<&TSettings::param2, &TSettings::param2Mark>},
    {Text<7>(u"param_3"), kRealEntry<&TSettings::param3, &TSettings::param3Mark>},
    {Text<8>(u"adaptive"), kBooleanEntry<&TSettings::adaptive, &TSettings::adaptiveMark>},
    {Text<5>(u"refil"), kBooleanEntry<&TSettings::refil, &TSettings::refilMark>},
    {Text<9>(u"file_name"), FileNameEntry},
    {Text<14>(u"regulator_type"), NameEntry<kLaws, &TSettings::regulatorType>},
};

constexpr TKeywordBlock kParametersBlock = {kParameterKeywords, kUnknownIdentifier};

bool ParametersEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  return regulator.ReadEntries(definition, kParametersBlock, false);
}

constexpr TKeywordRow kKeywords[] = {
    {Text<10>(hx_keyw::kwBLINK_RATE), WholeEntry<&hx_vinst::CInstrument::ReadEquBlinkRate, &TSettings::blinkRate>},
    kPosition,
    kExpression,
    kWishValue,
    {Text<6>(u"manual"), ExpressionEntry<&TSettings::manualExpr, hx_expr::kReal>},
    kCondition,
    kRealOutput,
    kInverse,
    kReceivers,
    kShowDescription,
    kReadOutputSection,
    kReadWishValueSection,
    kReadValueSection,
    {Text<10>(u"parameters"), ParametersEntry},
    kReadColors,
};

constexpr TRegulatorTables kTables = {
    {kKeywords, kUnknownIdentifier},
    kPidProcedures,
    kRealEvents,
};

}  // namespace

CPidRegulator::CPidRegulator() : CRealRegulator(kTables) {}

void CPidRegulator::InitInstrument() {
  state = Make<TPidState>();
  identState = Make<TIdentState>();
  CRealRegulator::InitInstrument();
}

void CPidRegulator::Reset() {
  CRealRegulator::Reset();
  ForgetExpression(settings.manualExpr);
  settings = {};
  supervision = {};
  if (state != nullptr) state->Reset();
  if (identState != nullptr) *identState = {};
}

void CPidRegulator::Done() {
  Release(state);
  Release(identState);
  CRealRegulator::Done();
}

bool CPidRegulator::IsComplete() const {
  return CRealRegulator::IsComplete() && state != nullptr && identState != nullptr;
}

bool CPidRegulator::CheckDefinition(TRegulatorDefinition& definition) {
  if (settings.adaptive || settings.regulatorType != kVariable) return true;
  return definition.Fail(Text<48>(u"Regulátor typu \"variable\" musí být autoadaptivní"));
}

void CPidRegulator::FinishRead(vcom::CRect finalRect) {
  CRealRegulator::FinishRead(finalRect);
  if (!IsComplete()) return;
  lastTime = vcore::GetTimeMS();
  if (settings.regulatorType == kVariable) {
    state->ksi = settings.param1;
    state->omega = settings.param2;
  } else if (!settings.adaptive) {
    state->r0 = settings.param1;
    state->tI = settings.param2;
    state->tD = settings.param3;
  }
  LoadParameterFile();
}

}  // namespace loopbox
