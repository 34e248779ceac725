// What regulators offer to the application: names, identifiers, descriptions and
// calls.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using tests::CRun;
using tests::OneRegulator;

enum TWhen { kAlways, kNotVariable, kVariable };

struct TProcedureCase {
  std::uint32_t id;
  std::string name;
  std::string description;  // empty: not listed
  TWhen when = kAlways;
};

const std::vector<TProcedureCase> kPid = {
    {0, "SetRegulatorType__n", "SetRegulatorType( RegType : number )"},
    {1, "GetRegulatorType__R", "GetRegulatorType( &RegType : real )"},
    {2, "SetAdaptive__l", "SetAdaptive( IsAdaptive : boolean )", kNotVariable},
    {3, "GetAdaptive__l", "GetAdaptive( &IsAdaptive : boolean )", kNotVariable},
    {4, "SetParameters__RR", "SetParameters( ksi, omega : real )", kVariable},
    {5, "SetParameters__RRR", "SetParameters( r0, tI, tD : real )", kNotVariable},
    {6, "GetParameters__RR", "GetParameters( &ksi, &omega : real )", kVariable},
    {7, "GetParameters__RRR", "GetParameters( &r0, &tI, &tD : real )", kNotVariable},
    {8, "SetDerivationDelay__R", "SetDerivationDelay( Delay : real )", kNotVariable},
    {9, "GetDerivationDelay__R", "GetDerivationDelay( &Delay : real )", kNotVariable},
    {10, "RunIdentification__", "RunIdentification()", kNotVariable},
    {11, "StopIdentification__", "StopIdentification()", kNotVariable},
    {12, "IsIdentificationRunning__l", "IsIdentificationRunning( &IsRunning : boolean )"},
    {13, "SetIdentification__n", "SetIdentification( IdentificationType : number )"},
    {14, "GetIdentification__R", "GetIdentification( &IdentificationType : real )"},
    {15, "SetLastOutputValue__R", "SetLastOutputValue( LastOutputValue : real )", kNotVariable},
    {16, "SetOutputTrimming__l", "SetOutputTrimming( OutputTrimming : boolean )", kNotVariable},
    {17, "SetOutputRange__RR", "SetOutputRange( RangeFrom, RangeTo : real )", kNotVariable},
    {18, "SetForgetCoefficient__R", "", kNotVariable},
    {19, "GetForgetCoefficient__R", "", kNotVariable},
    {20, "Debug__RRRR", ""},
};

const std::vector<TProcedureCase> kBoolean = {
    {0, "SetDivergenceMinus__R", "SetDivergenceMinus( DivMinus : real )"},
    {1, "GetDivergenceMinus__R", "GetDivergenceMinus( &DivMinus : real )"},
    {2, "SetDivergencePlus__R", "SetDivergencePlus( DivPlus : real )"},
    {3, "GetDivergencePlus__R", "GetDivergencePlus( &DivPlus : real )"},
};

const std::vector<TProcedureCase> kStep = {
    kBoolean[0],
    kBoolean[1],
    kBoolean[2],
    kBoolean[3],
    {4, "SetInactiveHit__R", "SetInactiveHit( InactiveHit : real )"},
    {5, "GetInactiveHit__R", "GetInactiveHit( &InactiveHit : real )"},
};

std::uint32_t IdOf(hx_vinst::CInstrument& object, const std::string& name) {
  const std::u16string wide = runtime::Utf16(name);
  return object.GetIdOfName(static_cast<std::uint32_t>(wide.size()), wide.c_str(), 1);
}

// What is wrong with names, identifiers and capacities is the conformance check's.
void ExpectTable(hx_vinst::CInstrument& object, const std::vector<TProcedureCase>& table, TWhen now) {
  for (const TProcedureCase& procedure : table) {
    SCOPED_TRACE(procedure.name);
    const bool resolves = procedure.when == kAlways || procedure.when == now;
    const bool listed = !procedure.description.empty();
    EXPECT_EQ(IdOf(object, procedure.name), resolves ? procedure.id : hx_vinst::kNoIdentifier);
    char16_t name[64] = {};
    char16_t description[64] = {};
    EXPECT_EQ(object.GetNameOfId(procedure.id, 63, name), listed);
    EXPECT_EQ(object.GetDescriptionOfId(procedure.id, 63, description), listed);
    EXPECT_EQ(runtime::Utf8(name), listed ? procedure.name : "");
    EXPECT_EQ(runtime::Utf8(description), procedure.description);
  }
  char16_t text[64];
  const std::uint32_t past = static_cast<std::uint32_t>(table.size());
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
  for (const int law : {1, 5, 2, 5, 3, 4, 1}) {
    run.Call("reg", "SetRegulatorType__n", {static_cast<double>(law)});
    ExpectTable(object, kPid, law == 5 ? kVariable : kNotVariable);
  }
}

TEST(Procedures, OfTheOthersAreAlwaysThere) {
  CRun two(OneRegulator("boolean_regulator", ""));
  ExpectTable(two.Object("reg"), kBoolean, kNotVariable);
  CRun step(OneRegulator("step_regulator", ""));
  ExpectTable(step.Object("reg"), kStep, kNotVariable);
}

TEST(Procedures, OfTheApplicationAreFoundFirst) {
  CRun run(OneRegulator("pid_regulator", "") + "script\nfunction reg.OnOutput(u) return 42.0 end\nend_script;\n");
  ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
  const std::uint32_t id = IdOf(run.Object("reg"), "OnOutput__R");
  EXPECT_GE(id, hx_vinst::kHostIdentifier);
  hx_expr::TValue value = {};
  hx_tool::SetValueLongReal(&value, 1.0);
  hx_expr::TValueArray arguments = {1, &value};
  char16_t error[128];
  EXPECT_EQ(run.Object("reg").Invoke(id, &arguments, 127, error), 1);
  EXPECT_EQ(value.real, 42.0);
  EXPECT_EQ(IdOf(run.Object("reg"), "OnOutputChange__R"), hx_vinst::kNoIdentifier);
}

TEST(Events, AreDescribedForEachClass) {
  const struct {
    const char* className;
    const char* names[2];
    const char* descriptions[2];
  } classes[] = {
      {"pid_regulator", {"OnOutput__R", "OnOutputChange__R"}, {"OnOutput( &U : real )", "OnOutputChange( &U : real )"}},
      {"boolean_regulator",
       {"OnOutput__l", "OnOutputChange__l"},
       {"OnOutput( &Active : boolean )", "OnOutputChange( &Active : boolean )"}},
      {"step_regulator",
       {"OnOutput__ll", "OnOutputChange__ll"},
       {"OnOutput( &PlusActive, &MinusActive : boolean )", "OnOutputChange( &PlusActive, &MinusActive : boolean )"}},
  };
  for (const auto& described : classes) {
    CRun run(OneRegulator(described.className, ""));
    hx_vinst::CInstrument& object = run.Object("reg");
    char16_t name[64];
    char16_t description[64];
    for (std::uint32_t i = 0; i < 2; ++i) {
      EXPECT_EQ(object.GetProcedureDescription(i, 63, name, 63, description), 1);
      EXPECT_EQ(runtime::Utf8(name), described.names[i]);
      EXPECT_EQ(runtime::Utf8(description), described.descriptions[i]);
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

hx_expr::TValue Single(float single) {
  hx_expr::TValue value = {};
  value.type = hx_expr::kSingle;
  value.single = single;
  return value;
}

hx_expr::TValue Real(double real) {
  hx_expr::TValue value = {};
  hx_tool::SetValueLongReal(&value, real);
  return value;
}

hx_expr::TValue Boolean(bool boolean) {
  hx_expr::TValue value = {};
  hx_tool::SetValueBoolean(&value, boolean);
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

TEST(Numbers, OfEveryTypeChooseALawOrAnIdentification) {
  const struct {
    hx_expr::TValue value;
    unsigned number;  // 0: refused
  } cases[] = {
      {Bits(hx_expr::kUnsigned8, 0xFFFFFF02), 2},
      {Bits(hx_expr::kUnsigned8, 0x00000100), 0},
      {Bits(hx_expr::kUnsigned16, 0xFFFF0002), 2},
      {Bits(hx_expr::kUnsigned16, 0x00000102), 0},
      {Bits(hx_expr::kUnsigned32, 2), 2},
      {Bits(hx_expr::kUnsigned32, 0x00010002), 0},
      {Bits(hx_expr::kSigned8, 0xFFFFFF02), 2},
      {Bits(hx_expr::kSigned8, 0x00000082), 0},
      {Bits(hx_expr::kSigned16, 0xFFFF0002), 2},
      {Bits(hx_expr::kSigned16, 0x00008002), 0},
      {Bits(hx_expr::kSigned32, 2), 2},
      {Bits(hx_expr::kSigned32, 0xFFFFFFFF), 0},
      {Single(2.9F), 2},
      {Single(0.9F), 0},
      {Single(-1.0F), 0},
      {Real(2.9), 2},
      {Real(1.9999999), 1},
      {Real(0.0), 0},
      {Real(6.0), 0},
      {Real(-2.0), 0},
      {Real(4294967298.0), 0},
      {Real(kInfinity), 0},
      {Real(kNaN), 0},
      {Boolean(true), 0},
      {Bits(0, 2), 0},
      {Bits(1, 2), 0},
      {Bits(11, 2), 0},
      {Bits(0x0A0A, 2), 0},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    const unsigned number = cases[i].number;
    CRun run(
        OneRegulator("pid_regulator", "parameters regulator_type = takahashiDelay; refil = false; end_parameters;"));
    std::string error;
    EXPECT_EQ(Invoke(run, 0, {cases[i].value}, &error), number != 0);
    EXPECT_EQ(run.Call("reg", "GetRegulatorType__R", {0.0})[0], number == 0 ? 4.0 : number == 2 ? 3.0 : 1.0);
    EXPECT_EQ(Invoke(run, 13, {cases[i].value}, &error), number != 0);
    EXPECT_EQ(run.Call("reg", "GetIdentification__R", {0.0})[0], number == 2 ? 2.0 : 1.0);
    EXPECT_EQ(error, "");
    ASSERT_EQ(run.messages.size(), number == 0 ? 2u : 0u);
    if (number != 0) continue;
    EXPECT_EQ(run.messages[0].instrument, "reg");
    EXPECT_EQ(run.messages[0].text, "Neznámý typ regulátoru");
    EXPECT_EQ(run.messages[1].text, "Neznámý typ identifikace");
  }
}

TEST(Numbers, OfTheFiveLawsAndTheirCodes) {
  CRun run(OneRegulator("pid_regulator", ""));
  const double codes[] = {1, 3, 2, 4, 5};
  for (int number = 1; number <= 5; ++number) {
    run.Call("reg", "SetRegulatorType__n", {static_cast<double>(number)});
    EXPECT_EQ(run.Call("reg", "GetRegulatorType__R", {0.0})[0], codes[number - 1]);
  }
}

TEST(Calls, SetWhatTheyThenGet) {
  CRun run(OneRegulator("pid_regulator", "parameters param_1 = 2; param_2 = 3; param_3 = 4; end_parameters;"));
  const auto get = [&](const std::string& name, std::size_t count) {
    return run.Call("reg", name, std::vector<double>(count, -77.0));
  };
  using TReals = std::vector<double>;
  EXPECT_EQ(get("GetParameters__RRR", 3), (TReals{2, 3, 4}));
  EXPECT_EQ(get("GetDerivationDelay__R", 1), TReals{0.2});
  EXPECT_EQ(get("GetForgetCoefficient__R", 1), TReals{0.5});
  EXPECT_EQ(get("GetAdaptive__l", 1), TReals{0});
  EXPECT_EQ(get("IsIdentificationRunning__l", 1), TReals{0});
  EXPECT_EQ(get("Debug__RRRR", 4), (TReals{0.1, 0.1, 0.2, 0.2}));
  run.Call("reg", "SetParameters__RRR", {-1.5, 0.0, 1e300});
  run.Call("reg", "SetDerivationDelay__R", {-3.0});
  run.Call("reg", "SetForgetCoefficient__R", {7.0});
  run.Call("reg", "SetAdaptive__l", {1.0});
  EXPECT_EQ(get("GetParameters__RRR", 3), (TReals{-1.5, 0.0, 1e300}));
  EXPECT_EQ(get("GetDerivationDelay__R", 1), TReals{-3});
  EXPECT_EQ(get("GetForgetCoefficient__R", 1), TReals{7});
  EXPECT_EQ(get("GetAdaptive__l", 1), TReals{1});
  run.Call("reg", "RunIdentification__", {});
  EXPECT_EQ(get("IsIdentificationRunning__l", 1), TReals{1});
  run.Call("reg", "SetAdaptive__l", {0.0});
  EXPECT_EQ(get("IsIdentificationRunning__l", 1), TReals{0});
  run.Call("reg", "SetAdaptive__l", {1.0});
  run.Call("reg", "StopIdentification__", {});
  EXPECT_EQ(get("IsIdentificationRunning__l", 1), TReals{0});
  run.Call("reg", "SetRegulatorType__n", {5.0});
  run.Call("reg", "SetParameters__RR", {0.7, 0.3});
  EXPECT_EQ(get("GetParameters__RR", 2), (TReals{0.7, 0.3}));
  run.Call("reg", "SetRegulatorType__n", {1.0});
  EXPECT_EQ(get("GetParameters__RRR", 3), (TReals{-1.5, 0.0, 1e300}));
}

TEST(Calls, OfIdentificationNeedAnAdaptiveRegulator) {
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

TEST(Calls, WithWrongArgumentsAreRefusedAsAWhole) {
  constexpr const char* kCount = "Chybný počet argumentů";
  constexpr const char* kType = "Chybný typ argumentu";
  constexpr const char* kFinite = "Argument není konečné číslo";
  const TRefusal refusals[] = {
      {0, {}, kCount},
      {5, {Real(1), Real(2)}, kCount},
      {7, {Real(1), Real(2)}, kCount},
      {17, {Real(1)}, kCount},
      {20, {Real(1), Real(2), Real(3)}, kCount},
      {5, {Real(8), Real(9), Boolean(true)}, kType},
      {5, {Real(8), Bits(99, 1), Real(9)}, kType},
      {5, {Real(8), Real(9), Real(kNaN)}, kFinite},
      {4, {Real(8), Real(kInfinity)}, kFinite},
      {8, {Real(-kInfinity)}, kFinite},
      {15, {Real(kNaN)}, kFinite},
      {17, {Real(8), Real(kNaN)}, kFinite},
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
  // Any kind of number is a real; a null array has no arguments.
  std::string error;
  EXPECT_TRUE(Invoke(run, 5, {Bits(hx_expr::kSigned8, 0xFE), Single(0.5F), Bits(hx_expr::kUnsigned16, 7)}, &error));
  EXPECT_EQ(run.Call("reg", "GetParameters__RRR", {0, 0, 0}), (std::vector<double>{-2, 0.5, 7}));
  char16_t text[128];
  EXPECT_EQ(run.Object("reg").Invoke(1, nullptr, 127, text), 0);
  EXPECT_EQ(runtime::Utf8(text), kCount);
}

TEST(Calls, SetTheOutputsRangeAndMemory) {
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

TEST(Calls, OfAStepRegulatorTruncateAndSaturateTheInactivePeriods) {
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
  for (const char* name : {"DivergencePlus__R", "DivergenceMinus__R"}) {
    EXPECT_EQ(run.Call("reg", std::string("Get") + name, {1})[0], 0.0);
    run.Call("reg", std::string("Set") + name, {-7.25});
    EXPECT_EQ(run.Call("reg", std::string("Get") + name, {0})[0], -7.25);
  }
}

}  // namespace
