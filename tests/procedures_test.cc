// What regulators offer to the application: names, identifiers, descriptions and
// calls.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <span>

#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using tests::CRun;
using tests::OneRegulator;

enum EWhen { kAlways, kNotVariable, kVariable };

// Its place in a table is the identifier.
struct TProcedureCase {
  std::string name;
  std::string description;  // empty: not listed
  EWhen when = kAlways;
};

const std::vector<TProcedureCase> kPid = {
    {"SetRegulatorType__n", "SetRegulatorType( RegType : number )"},
    {"GetRegulatorType__R", "GetRegulatorType( &RegType : real )"},
    {"SetAdaptive__l", "SetAdaptive( IsAdaptive : boolean )", kNotVariable},
    {"GetAdaptive__l", "GetAdaptive( &IsAdaptive : boolean )", kNotVariable},
    {"SetParameters__RR", "SetParameters( ksi, omega : real )", kVariable},
    {"SetParameters__RRR", "SetParameters( r0, tI, tD : real )", kNotVariable},
    {"GetParameters__RR", "GetParameters( &ksi, &omega : real )", kVariable},
    {"GetParameters__RRR", "GetParameters( &r0, &tI, &tD : real )", kNotVariable},
    {"SetDerivationDelay__R", "SetDerivationDelay( Delay : real )", kNotVariable},
    {"GetDerivationDelay__R", "GetDerivationDelay( &Delay : real )", kNotVariable},
    {"RunIdentification__", "RunIdentification()", kNotVariable},
    {"StopIdentification__", "StopIdentification()", kNotVariable},
    {"IsIdentificationRunning__l", "IsIdentificationRunning( &IsRunning : boolean )"},
    {"SetIdentification__n", "SetIdentification( IdentificationType : number )"},
    {"GetIdentification__R", "GetIdentification( &IdentificationType : real )"},
    {"SetLastOutputValue__R", "SetLastOutputValue( LastOutputValue : real )", kNotVariable},
    {"SetOutputTrimming__l", "SetOutputTrimming( OutputTrimming : boolean )", kNotVariable},
    {"SetOutputRange__RR", "SetOutputRange( RangeFrom, RangeTo : real )", kNotVariable},
    {"SetForgetCoefficient__R", "", kNotVariable},
    {"GetForgetCoefficient__R", "", kNotVariable},
    {"Debug__RRRR", ""},
};

// The first four are boolean_regulator's.
const std::vector<TProcedureCase> kStepProcedures = {
    {"SetDivergenceMinus__R", "SetDivergenceMinus( DivMinus : real )"},
    {"GetDivergenceMinus__R", "GetDivergenceMinus( &DivMinus : real )"},
    {"SetDivergencePlus__R", "SetDivergencePlus( DivPlus : real )"},
    {"GetDivergencePlus__R", "GetDivergencePlus( &DivPlus : real )"},
    {"SetInactiveHit__R", "SetInactiveHit( InactiveHit : real )"},
    {"GetInactiveHit__R", "GetInactiveHit( &InactiveHit : real )"},
};

std::uint32_t IdOf(hx_vinst::CInstrument& object, const std::string& name) {
  const std::u16string wide = runtime::Utf16(name);
  return object.GetIdOfName(static_cast<std::uint32_t>(wide.size()), wide.c_str(), 1);
}

// What is wrong with names, identifiers and capacities is the conformance check's.
void ExpectTable(hx_vinst::CInstrument& object, std::span<const TProcedureCase> table, EWhen now) {
  const auto past = static_cast<std::uint32_t>(table.size());
  for (std::uint32_t id = 0; id < past; ++id) {
    const TProcedureCase& procedure = table[id];
    SCOPED_TRACE(procedure.name);
    const bool resolves = procedure.when == kAlways || procedure.when == now;
    const bool listed = !procedure.description.empty();
    EXPECT_EQ(IdOf(object, procedure.name), resolves ? id : hx_vinst::kNoIdentifier);
    char16_t name[64] = {};
    char16_t description[64] = {};
    EXPECT_EQ(object.GetNameOfId(id, 63, name), listed);
    EXPECT_EQ(object.GetDescriptionOfId(id, 63, description), listed);
    EXPECT_EQ(runtime::Utf8(name), listed ? procedure.name : "");
    EXPECT_EQ(runtime::Utf8(description), procedure.description);
  }
  char16_t text[64];
  EXPECT_EQ(object.GetNameOfId(past, 63, text), 0);
  std::vector<hx_expr::TValue> values(4);
  hx_expr::TValueArray arguments = {4, values.data()};
  char16_t error[128] = u"#";
  EXPECT_EQ(object.Invoke(past, &arguments, 127, error), 0);
  EXPECT_EQ(error[0], 0);
  EXPECT_EQ(object.Invoke(hx_vinst::kHostIdentifier + 5, &arguments, 127, error), 0);
}

TEST(Procedures, OfAContinuousRegulatorDependOnItsLaw) {
  CRun run(OneRegulator("pid_regulator", ""));
  hx_vinst::CInstrument& object = run.Object("reg");
  constexpr double kCodes[] = {0, 1, 3, 2, 4, 5};
  for (const int law : {1, 5, 2, 5, 3, 4, 1}) {
    run.Call("reg", "SetRegulatorType__n", {static_cast<double>(law)});
    EXPECT_EQ(run.Call("reg", "GetRegulatorType__R", {0.0})[0], kCodes[law]);
    ExpectTable(object, kPid, law == 5 ? kVariable : kNotVariable);
  }
}

TEST(Procedures, OfTheOthersAreAlwaysThere) {
  CRun two(OneRegulator("boolean_regulator", ""));
  ExpectTable(two.Object("reg"), std::span(kStepProcedures).first(4), kNotVariable);
  CRun step(OneRegulator("step_regulator", ""));
  ExpectTable(step.Object("reg"), kStepProcedures, kNotVariable);
}

TEST(Procedures, EventsAreDescribedForEachClass) {
  const char* const arguments[][2] = {
      {"R", "( &U : real )"}, {"l", "( &Active : boolean )"}, {"ll", "( &PlusActive, &MinusActive : boolean )"}};
  for (std::size_t i = 0; i < std::size(arguments); ++i) {
    CRun run(OneRegulator(tests::ClassNames()[i], ""));
    hx_vinst::CInstrument& object = run.Object("reg");
    char16_t name[64];
    char16_t description[64];
    std::uint32_t index = 0;
    for (const std::string event : {"OnOutput", "OnOutputChange"}) {
      EXPECT_EQ(object.GetProcedureDescription(index++, 63, name, 63, description), 1);
      EXPECT_EQ(runtime::Utf8(name), event + "__" + arguments[i][0]);
      EXPECT_EQ(runtime::Utf8(description), event + arguments[i][1]);
    }
    EXPECT_EQ(object.GetVarDescription(0, 63, name, 63, description), 0);
    EXPECT_EQ(object.GetInstrumentInfo(0, 63, name), 0);
  }
}

// --- Calls ----------------------------------------------------------------------

// A value of a type by the bits of its 32-bit word.
hx_expr::TValue Bits(std::uint32_t type, std::uint32_t word) {
  hx_expr::TValue value = {};
  value.type = type;
  value.unsigned32 = word;
  return value;
}

hx_expr::TValue Single(float single) { return Bits(hx_expr::kSingle, std::bit_cast<std::uint32_t>(single)); }
hx_expr::TValue Boolean(bool boolean) { return Bits(hx_expr::kBoolean, boolean ? 1 : 0); }

hx_expr::TValue Real(double real) {
  hx_expr::TValue value = {};
  hx_tool::SetValueLongReal(&value, real);
  return value;
}

bool Invoke(const CRun& run, std::uint32_t id, std::vector<hx_expr::TValue> values, std::string* error) {
  hx_expr::TValueArray arguments = {static_cast<std::uint32_t>(values.size()), values.data()};
  char16_t text[128] = u"#";
  const bool done = run.Object("reg").Invoke(id, &arguments, 127, text) != 0;
  *error = runtime::Utf8(text);
  return done;
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

TEST(Procedures, NumbersOfEveryTypeChooseALawOrAnIdentification) {
  const std::pair<unsigned, std::vector<hx_expr::TValue>> cases[] = {
      {2,
       {Bits(hx_expr::kUnsigned8, 0xFFFFFF02), Bits(hx_expr::kUnsigned16, 0xFFFF0002), Bits(hx_expr::kUnsigned32, 2),
        Bits(hx_expr::kSigned8, 0xFFFFFF02), Bits(hx_expr::kSigned16, 0xFFFF0002), Bits(hx_expr::kSigned32, 2),
        Single(2.9F), Real(2.9)}},
      {1, {Real(1.9999999)}},
      {0,
       {Bits(hx_expr::kUnsigned8, 0x00000100), Bits(hx_expr::kUnsigned16, 0x00000102),
        Bits(hx_expr::kUnsigned32, 0x00010002), Bits(hx_expr::kSigned8, 0x00000082),
        Bits(hx_expr::kSigned16, 0x00008002), Bits(hx_expr::kSigned32, 0xFFFFFFFF), Single(0.9F), Single(-1.0F),
        Real(0.0), Real(6.0), Real(-2.0), Real(4294967298.0), Real(kInfinity), Real(kNaN), Boolean(true), Bits(0, 2),
        Bits(1, 2), Bits(11, 2), Bits(0x0A0A, 2)}}};  // 0: refused
  for (const auto& [number, values] : cases) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      SCOPED_TRACE(testing::Message() << number << " " << i);
      CRun run(
          OneRegulator("pid_regulator", "parameters regulator_type = takahashiDelay; refil = false; end_parameters;"));
      std::string error;
      EXPECT_EQ(Invoke(run, 0, {values[i]}, &error), number != 0);
      EXPECT_EQ(run.Call("reg", "GetRegulatorType__R", {0.0})[0], number == 0 ? 4.0 : number == 2 ? 3.0 : 1.0);
      EXPECT_EQ(Invoke(run, 13, {values[i]}, &error), number != 0);
      EXPECT_EQ(run.Call("reg", "GetIdentification__R", {0.0})[0], number == 2 ? 2.0 : 1.0);
      EXPECT_EQ(error, "");
      ASSERT_EQ(run.messages.size(), number == 0 ? 2u : 0u);
      if (number != 0) continue;
      EXPECT_EQ(run.messages[0].instrument, "reg");
      EXPECT_EQ(run.messages[0].text, "Neznámý typ regulátoru");
      EXPECT_EQ(run.messages[1].text, "Neznámý typ identifikace");
    }
  }
}

TEST(Procedures, CallsSetWhatTheyThenGet) {
  CRun run(OneRegulator("pid_regulator", "parameters param_1 = 2; param_2 = 3; param_3 = 4; end_parameters;"));
  const struct {
    std::string name;
    std::vector<double> reals;  // given to a Set, yielded by all others
  } calls[] = {{"GetParameters__RRR", {2, 3, 4}},
               {"GetDerivationDelay__R", {0.2}},
               {"GetForgetCoefficient__R", {0.5}},
               {"GetAdaptive__l", {0}},
               {"IsIdentificationRunning__l", {0}},
               {"Debug__RRRR", {0.1, 0.1, 0.2, 0.2}},
               {"SetParameters__RRR", {-1.5, 0.0, 1e300}},
               {"SetDerivationDelay__R", {-3}},
               {"SetForgetCoefficient__R", {7}},
               {"SetAdaptive__l", {1}},
               {"GetParameters__RRR", {-1.5, 0.0, 1e300}},
               {"GetDerivationDelay__R", {-3}},
               {"GetForgetCoefficient__R", {7}},
               {"GetAdaptive__l", {1}},
               {"RunIdentification__", {}},
               {"IsIdentificationRunning__l", {1}},
               {"SetAdaptive__l", {0}},
               {"IsIdentificationRunning__l", {0}},
               {"SetAdaptive__l", {1}},
               {"RunIdentification__", {}},
               {"StopIdentification__", {}},
               {"IsIdentificationRunning__l", {0}},
               {"SetRegulatorType__n", {5}},
               {"GetParameters__RR", {0, 0}},
               {"SetParameters__RR", {0.7, 0.3}},
               {"GetParameters__RR", {0.7, 0.3}},
               {"SetRegulatorType__n", {1}},
               {"GetParameters__RRR", {-1.5, 0.0, 1e300}}};
  for (const auto& [name, reals] : calls) {
    const bool sets = name.starts_with("Set");
    EXPECT_EQ(run.Call("reg", name, sets ? reals : std::vector<double>(reals.size(), -77.0)), reals) << name;
  }
}

// Where nothing is written of them they stay as they were learnt.
TEST(Procedures, ParametersOfAnAdaptiveRegulatorOutliveItsDefinition) {
  CRun run(OneRegulator("pid_regulator", "parameters adaptive = true; end_parameters;"));
  const std::vector<double> learnt{7.0, 8.0, 9.0};
  run.Call("reg", "SetParameters__RRR", learnt);
  ASSERT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
  EXPECT_EQ(run.Call("reg", "GetParameters__RRR", {0.0, 0.0, 0.0}), learnt);
}

TEST(Procedures, CallsOfIdentificationNeedAnAdaptiveRegulator) {
  CRun run(OneRegulator("pid_regulator", ""));
  std::string error;
  for (const std::uint32_t id : {10u, 11u}) {
    EXPECT_FALSE(Invoke(run, id, {}, &error));
    EXPECT_EQ(error, "");
    ASSERT_FALSE(run.messages.empty());
    EXPECT_EQ(run.messages.back().text, "Nelze zapnout identifikaci u neadaptivního regulátoru");
  }
  EXPECT_EQ(run.messages.size(), 2u);
  run.Call("reg", "SetAdaptive__l", {1.0});
  EXPECT_EQ(run.Call("reg", "IsIdentificationRunning__l", {1.0})[0], 0.0);
}

struct TRefusal {
  std::uint32_t id;
  std::vector<hx_expr::TValue> values;
  const char* error;
};

TEST(Procedures, CallsWithWrongArgumentsAreRefusedAsAWhole) {
  constexpr const char* kWrongCount = "Chybný počet argumentů";
  constexpr const char* kType = "Chybný typ argumentu";
  constexpr const char* kFinite = "Argument není konečné číslo";
  const TRefusal refusals[] = {
      {0, {}, kWrongCount},
      {5, {Real(1), Real(2)}, kWrongCount},
      {7, {Real(1), Real(2)}, kWrongCount},
      {17, {Real(1)}, kWrongCount},
      {20, {Real(1), Real(2), Real(3)}, kWrongCount},
      {5, {Real(8), Real(9), Boolean(true)}, kType},
      {5, {Real(8), Bits(99, 1), Real(9)}, kType},
      {5, {Real(8), Real(9), Real(kNaN)}, kFinite},
      {4, {Real(8), Real(kInfinity)}, kFinite},
      {8, {Real(-kInfinity)}, kFinite},
      {15, {Real(kNaN)}, kFinite},
      {18, {Boolean(false)}, kType},
      {2, {Real(1)}, kType},
      {16, {Bits(hx_expr::kSigned32, 0)}, kType},
  };
  CRun run(OneRegulator("pid_regulator", ""));
  for (const TRefusal& refusal : refusals) {
    std::string error;
    EXPECT_FALSE(Invoke(run, refusal.id, refusal.values, &error)) << refusal.id;
    EXPECT_EQ(error, refusal.error) << refusal.id;
  }
  EXPECT_EQ(run.Call("reg", "GetParameters__RRR", {0, 0, 0}), (std::vector<double>{1, 1, 1}));
  EXPECT_EQ(run.Call("reg", "GetDerivationDelay__R", {0})[0], 0.2);
  EXPECT_EQ(run.Call("reg", "GetForgetCoefficient__R", {0})[0], 0.5);
  EXPECT_EQ(run.Call("reg", "GetAdaptive__l", {1})[0], 0.0);
  EXPECT_EQ(run.Meter("reg").rangeFrom, 0.0);
  EXPECT_TRUE(run.messages.empty());
  // The pane refuses a range that is none, and the call has no part in it.
  std::string error;
  EXPECT_TRUE(Invoke(run, 17, {Real(8), Real(kNaN)}, &error));
  EXPECT_EQ(run.Meter("reg").rangeFrom, 0.0);
  // Any kind of number is a real; a null array has no arguments. What stands above
  // an identifier's 16 bits is no part of it.
  using namespace hx_expr;
  const struct {
    std::vector<TValue> values;
    std::vector<double> reals;
  } kinds[] = {
      {{Bits(kSigned8, 0xFE), Single(0.5F), Bits(kUnsigned16, 0x19C40)}, {-2, 0.5, 40000}},
      {{Bits(kUnsigned8, 0x1C8), Bits(kUnsigned32, 4000000000), Bits(kSigned16, 0xFFFE)}, {200, 4e9, -2}},
      {{Bits(kSigned32, 0xFFFFFFFD), Real(1e300), Real(-0.25)}, {-3, 1e300, -0.25}},
  };
  for (const auto& [values, reals] : kinds) {
    EXPECT_TRUE(Invoke(run, 0x00010005, values, &error));
    EXPECT_EQ(run.Call("reg", "GetParameters__RRR", {0, 0, 0}), reals);
  }
  char16_t text[128];
  EXPECT_EQ(run.Object("reg").Invoke(1, nullptr, 127, text), 0);
  EXPECT_EQ(runtime::Utf8(text), kWrongCount);
}

TEST(Procedures, CallsSetTheOutputsRangeAndMemory) {
  CRun run(OneRegulator("pid_regulator", "inverse; manual = hand; parameters param_1 = 0; end_parameters;"));
  run.Call("reg", "SetLastOutputValue__R", {30.0});
  run.Steps(1);
  EXPECT_EQ(run.Value("u"), 30.0);
  run.Call("reg", "SetOutputRange__RR", {-40.0, 20.0});
  EXPECT_EQ(run.Meter("reg").rangeFrom, -40.0);
  EXPECT_EQ(run.Meter("reg").rangeTo, 20.0);
  run.SetValue("run", 0.0);
  for (const double hand : {-39.0, 5.0}) {
    run.SetValue("hand", hand);
    run.Steps(1);
    EXPECT_EQ(run.Value("u"), hand);
  }
}

TEST(Procedures, CallsOfAStepRegulatorTruncateAndSaturateTheInactivePeriods) {
  CRun run(OneRegulator("step_regulator", ""));
  EXPECT_EQ(run.Call("reg", "GetInactiveHit__R", {0})[0], 5.0);
  const double cases[][2] = {{2.9, 2.0},
                             {-2.9, -2.0},
                             {0.99, 0.0},
                             {1e300, 2147483647},
                             {-1e300, -2147483648.0},
                             {2147483647.5, 2147483647},
                             {-2147483648.5, -2147483648.0},
                             {kInfinity, 2147483647},
                             {-kInfinity, -2147483648.0},
                             {kNaN, 0.0}};
  for (const auto& [given, kept] : cases) {
    run.Call("reg", "SetInactiveHit__R", {given});
    EXPECT_EQ(run.Call("reg", "GetInactiveHit__R", {0})[0], kept) << given;
  }
  run.Call("reg", "SetInactiveHit__R", {3.0});
  std::string error;
  EXPECT_FALSE(Invoke(run, 4, {Boolean(true)}, &error));
  EXPECT_EQ(error, "Chybný typ argumentu");
  EXPECT_EQ(run.Call("reg", "GetInactiveHit__R", {0})[0], 3.0);
  for (const char* name : {"DivergencePlus__R", "DivergenceMinus__R"}) {
    EXPECT_EQ(run.Call("reg", std::string("Get") + name, {1})[0], 0.0);
    run.Call("reg", std::string("Set") + name, {-7.25});
    EXPECT_EQ(run.Call("reg", std::string("Get") + name, {0})[0], -7.25);
  }
}

}  // namespace
