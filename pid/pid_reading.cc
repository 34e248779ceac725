// The life of a pid_regulator, and the keywords of its definition.
#include <algorithm>
#include <iterator>

#include "pid/pid_regulator.h"
#include "regulator/allocation.h"
#include "regulator/entries.h"

namespace loopbox {

namespace {

using TThis = CPidRegulator;

constexpr std::uint32_t kFirstCounter = 3;

constexpr char16_t kLawNames[kLawCount][gaugekit::kNameLength + 1] = {u"classical", u"classicalDelay", u"takahashi",
                                                                      u"takahashiDelay", u"variable"};
constexpr TNames kLaws = {kLawNames, kLawCodes, kLawCount};

bool FileNameEntry(CRegulator& regulator, TDefinition& definition) {
  return regulator.ReadEquFile(definition.capacity, definition.message, runlib::kPathCapacity,
                               Field<&TThis::fileName>(regulator));
}

constexpr TKeyword kParameterKeywords[] = {
    {Text<14>(u"end_parameters"), nullptr},
    {Text<7>(u"param_1"), kRealEntry<&TThis::param1, &TThis::param1Mark>},
    {Text<7>(u"param_2"), kRealEntry<&TThis::param2, &TThis::param2Mark>},
    {Text<7>(u"param_3"), kRealEntry<&TThis::param3, &TThis::param3Mark>},
    {Text<8>(u"adaptive"), kBooleanEntry<&TThis::adaptive, &TThis::adaptiveMark>},
    {Text<5>(u"refil"), kBooleanEntry<&TThis::refil, &TThis::refilMark>},
    {Text<9>(u"file_name"), FileNameEntry},
    {Text<14>(u"regulator_type"), NameEntry<kLaws, &TThis::regulatorType>},
};

constexpr TBlock kParametersBlock = {kParameterKeywords, kUnknownIdentifier};

bool ParametersEntry(CRegulator& regulator, TDefinition& definition) {
  return regulator.ReadEntries(definition, kParametersBlock, false);
}

constexpr TKeyword kKeywords[] = {
    {Text<10>(hx_keyw::kwBLINK_RATE), WholeEntry<&hx_vinst::CInstrument::ReadEquBlinkRate, &TThis::blinkRate>},
    kPosition,
    kExpression,
    kWishValue,
    {Text<6>(u"manual"), ExpressionEntry<&TThis::manualExpr, hx_expr::kReal>},
    kCondition,
    {Text<6>(gaugekit_::kwOUTPUT),
     ElementEntry<&TThis::outputId, &TThis::outputIndexExpr, &TThis::outputName, hx_expr::kReal>},
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
    {{Text<11>(u"OnOutput__R"), Text<21>(u"OnOutput( &U : real )")},
     {Text<17>(u"OnOutputChange__R"), Text<27>(u"OnOutputChange( &U : real )")}},
};

}  // namespace

CPidRegulator::CPidRegulator() : CRegulator(kTables) {}

void CPidRegulator::InitInstrument() {
  state = Make<TPidState>();
  identState = Make<TIdentState>();
  CRegulator::InitInstrument();
  Reset();
}

void CPidRegulator::Reset() {
  CRegulator::Reset();
  ForgetExpression(manualExpr);
  ForgetElement(outputId, outputIndexExpr, outputName);
  std::fill(std::begin(fileName), std::end(fileName), u'\0');
  outputTrimming = 1;
  regulatorType = kClassical;
  refil = 0;
  identRunning = 0;
  adaptive = 0;
  refilMark = hx_vinst::kNoMark;
  adaptiveMark = hx_vinst::kNoMark;
  identCounter = kFirstCounter;
  identCancelled = 0;
  synthesisCancelled = 0;
  if (state != nullptr) state->Reset();
  if (identState != nullptr) *identState = TIdentState{};
  param1 = 1.0;
  param2 = 1.0;
  param3 = 1.0;
  param1Mark = hx_vinst::kNoMark;
  param2Mark = hx_vinst::kNoMark;
  param3Mark = hx_vinst::kNoMark;
  blinkRate = 0;
}

void CPidRegulator::Done() {
  Release(state);
  Release(identState);
  CRegulator::Done();
}

bool CPidRegulator::IsComplete() const { return CRegulator::IsComplete() && state != nullptr && identState != nullptr; }

bool CPidRegulator::CheckDefinition(TDefinition& definition) {
  if (adaptive || regulatorType != kVariable) return true;
  return definition.Fail(Text<48>(u"Regulátor typu \"variable\" musí být autoadaptivní"));
}

void CPidRegulator::FinishRead(vcom::CRect finalRect) {
  CRegulator::FinishRead(finalRect);
  if (!IsComplete()) return;
  lastTime = vcore::GetTimeMS();
  if (regulatorType == kVariable) {
    state->ksi = param1;
    state->omega = param2;
  } else if (!adaptive) {
    state->r0 = param1;
    state->tI = param2;
    state->tD = param3;
  }
  FindEvents();
  LoadParameterFile();
}

}  // namespace loopbox
