// The procedures that a pid_regulator offers to the application.
#include <algorithm>
#include <iterator>

#include "pid/pid_regulator.h"
#include "regulator/calls.h"
#include "regulator/conversion.h"

namespace loopbox {

namespace {

using TSettings = TPidSettings;
using TState = TPidState;

constexpr std::uint32_t kMeterSetRange = 3;

CPidRegulator& Pid(CRegulator& regulator) { return static_cast<CPidRegulator&>(regulator); }

bool IsVariable(const CRegulator& regulator) {
  return static_cast<const CPidRegulator&>(regulator).settings.regulatorType == kVariable;
}

bool IsNotVariable(const CRegulator& regulator) { return !IsVariable(regulator); }

bool Report(CRegulator& regulator, TText message) {
  regulator.ReportError(message);
  return false;
}

bool SetRegulatorType(CRegulator& regulator, const TProcedureCall& call) {
  const std::uint32_t number = ValueToCardinal(call.Argument(0));
  if (number < 1 || number > std::size(kLawCodes)) return Report(regulator, Text<22>(u"Neznámý typ regulátoru"));
  Pid(regulator).settings.regulatorType = kLawCodes[number - 1];
  return true;
}

bool SetIdentification(CRegulator& regulator, const TProcedureCall& call) {
  const std::uint32_t number = ValueToCardinal(call.Argument(0));
  if (number < 1 || number > 2) return Report(regulator, Text<24>(u"Neznámý typ identifikace"));
  Pid(regulator).settings.refil = number == 2;
  return true;
}

bool GetIdentification(CRegulator& regulator, const TProcedureCall& call) {
  call.GiveReal(0, Pid(regulator).settings.refil ? 2.0 : 1.0);
  return true;
}

constexpr TText kNotAdaptive = Text<53>(u"Nelze zapnout identifikaci u neadaptivního regulátoru");

bool RunIdentification(CRegulator& regulator, const TProcedureCall&) {
  if (!Pid(regulator).settings.adaptive) return Report(regulator, kNotAdaptive);
  Pid(regulator).StartIdentification();
  return true;
}

bool StopIdentification(CRegulator& regulator, const TProcedureCall&) {
  if (!Pid(regulator).settings.adaptive) return Report(regulator, kNotAdaptive);
  Pid(regulator).supervision.identRunning = 0;
  return true;
}

bool IsIdentificationRunning(CRegulator& regulator, const TProcedureCall& call) {
  call.GiveBoolean(0, Pid(regulator).settings.adaptive && Pid(regulator).supervision.identRunning);
  return true;
}

bool SetLastOutputValue(CRegulator& regulator, const TProcedureCall& call) {
  double output = 0.0;
  if (!call.TakeFinite(0, &output)) return false;
  Pid(regulator).state->output[1] = Pid(regulator).Mirror(output);
  return true;
}

// The meter says what a range is.
bool SetOutputRange(CRegulator& regulator, const TProcedureCall& call) {
  regulator.outputMeter->Invoke(kMeterSetRange, call.arguments, call.errorCapacity, call.errorText);
  return true;
}

bool Debug(CRegulator& regulator, const TProcedureCall& call) {
  const TPidState& s = *Pid(regulator).state;
  const double model[] = {-s.a1, s.b1, -s.a2, s.b2};
  for (std::uint32_t i = 0; i < std::size(model); ++i) call.GiveReal(i, model[i]);
  return true;
}

}  // namespace

constexpr TProcedureRow kPidProcedures[] = {
    {0, Text<19>(u"SetRegulatorType__n"), Text<36>(u"SetRegulatorType( RegType : number )"), nullptr, SetRegulatorType},
    {1, Text<19>(u"GetRegulatorType__R"), Text<35>(u"GetRegulatorType( &RegType : real )"), nullptr,
     GetReals<&TSettings::regulatorType>},
    {12, Text<26>(u"IsIdentificationRunning__l"), Text<47>(u"IsIdentificationRunning( &IsRunning : boolean )"), nullptr,
     IsIdentificationRunning},
    {20, Text<11>(u"Debug__RRRR"), kNoText, nullptr, Debug},
    {4, Text<17>(u"SetParameters__RR"), Text<34>(u"SetParameters( ksi, omega : real )"), IsVariable,
     SetReals<&TState::ksi, &TState::omega>},
    {6, Text<17>(u"GetParameters__RR"), Text<36>(u"GetParameters( &ksi, &omega : real )"), IsVariable,
     GetReals<&TState::ksi, &TState::omega>},
    {5, Text<18>(u"SetParameters__RRR"), Text<34>(u"SetParameters( r0, tI, tD : real )"), IsNotVariable,
     SetReals<&TState::r0, &TState::tI, &TState::tD>},
    {7, Text<18>(u"GetParameters__RRR"), Text<37>(u"GetParameters( &r0, &tI, &tD : real )"), IsNotVariable,
     GetReals<&TState::r0, &TState::tI, &TState::tD>},
    {8, Text<21>(u"SetDerivationDelay__R"), Text<34>(u"SetDerivationDelay( Delay : real )"), IsNotVariable,
     SetReals<&TState::derivationDelay>},
    {9, Text<21>(u"GetDerivationDelay__R"), Text<35>(u"GetDerivationDelay( &Delay : real )"), IsNotVariable,
     GetReals<&TState::derivationDelay>},
    {10, Text<19>(u"RunIdentification__"), Text<19>(u"RunIdentification()"), IsNotVariable, RunIdentification},
    {11, Text<20>(u"StopIdentification__"), Text<20>(u"StopIdentification()"), IsNotVariable, StopIdentification},
    {13, Text<20>(u"SetIdentification__n"), Text<48>(u"SetIdentification( IdentificationType : number )"), nullptr,
     SetIdentification},
    {14, Text<20>(u"GetIdentification__R"), Text<47>(u"GetIdentification( &IdentificationType : real )"), nullptr,
     GetIdentification},
    {2, Text<14>(u"SetAdaptive__l"), Text<35>(u"SetAdaptive( IsAdaptive : boolean )"), IsNotVariable,
     SetBoolean<&TSettings::adaptive>},
    {3, Text<14>(u"GetAdaptive__l"), Text<36>(u"GetAdaptive( &IsAdaptive : boolean )"), IsNotVariable,
     GetBoolean<&TSettings::adaptive>},
    {18, Text<23>(u"SetForgetCoefficient__R"), kNoText, IsNotVariable, SetReals<&TState::forgetCoefficient>},
    {19, Text<23>(u"GetForgetCoefficient__R"), kNoText, IsNotVariable, GetReals<&TState::forgetCoefficient>},
    {15, Text<21>(u"SetLastOutputValue__R"), Text<44>(u"SetLastOutputValue( LastOutputValue : real )"), IsNotVariable,
     SetLastOutputValue},
    {16, Text<20>(u"SetOutputTrimming__l"), Text<45>(u"SetOutputTrimming( OutputTrimming : boolean )"), IsNotVariable,
     SetBoolean<&TSettings::outputTrimming>},
    {17, Text<18>(u"SetOutputRange__RR"), Text<43>(u"SetOutputRange( RangeFrom, RangeTo : real )"), IsNotVariable,
     SetOutputRange},
};
static_assert(std::size(kPidProcedures) == kPidProcedureCount);

std::uint8_t CPidRegulator::GetInstrumentInfo(std::uint32_t, std::uint32_t, char16_t*) { return 0; }

}  // namespace loopbox
