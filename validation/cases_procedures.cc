// Procedures and events: names, descriptions, and calls of every kind.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "runtime/instruments/making.h"
#include "runtime/text/wide_text.h"
#include "validation/cases.h"
#include "validation/testbed.h"

namespace validation {

namespace {

using hx_expr::TValue;

constexpr std::uint32_t kIdentifiers = 1000;  // that are asked for
constexpr std::uint32_t kCalls = 60;          // between the periods of a definition
constexpr std::uint32_t kPeriodsApart = 5;    // from call to call
constexpr std::uint32_t kCallSeed = 20;

constexpr double kNumbers[] = {
    std::numeric_limits<double>::quiet_NaN(), HUGE_VAL, -HUGE_VAL, 1e308, -1e308, 5e-324, -0.0, 0.0, 1e20};

std::uint32_t IdOf(hx_vinst::CInstrument& object, const std::string& name, std::uint8_t flag = 0) {
  const std::u16string wide = runtime::Utf16(name);
  return object.GetIdOfName(static_cast<std::uint32_t>(wide.size()), wide.c_str(), flag);
}

// A value as an argument of that letter is passed.
TValue Value(char letter, double number) {
  TValue value = {};
  if (letter == 'l') {
    hx_tool::SetValueBoolean(&value, number != 0.0);
  } else {
    hx_tool::SetValueLongReal(&value, number);
  }
  return value;
}

bool Call(CProbe& probe, hx_vinst::CInstrument& object, const std::string& what, std::uint32_t identifier,
          std::vector<TValue>* values) {
  probe.Doing("calling " + what + " with " + std::to_string(values->size()) + " arguments");
  hx_expr::TValueArray arguments = {static_cast<std::uint32_t>(values->size()), values->data()};
  CGuardedText error(kCapacity);
  const bool done = object.Invoke(identifier, &arguments, kCapacity, error.Buffer()) != 0;
  if (!error.Untouched()) error.Text(probe, "the message of " + what);
  return done;
}

std::vector<runtime::TNamed> Procedures(const CProbe& probe, hx_vinst::CInstrument& object) {
  std::vector<runtime::TNamed> procedures = runtime::ProceduresOf(object);
  if (procedures.empty()) probe.Skip("the class lists no procedure");
  return procedures;
}

std::size_t ArgumentsDescribed(const std::string& description) {
  const std::size_t open = description.find('(');
  const std::size_t close = description.rfind(')');
  if (open == std::string::npos || close == std::string::npos) return 0;
  const std::string inner = description.substr(open + 1, close - open - 1);
  if (inner.find_first_not_of(' ') == std::string::npos) return 0;
  return 1 + static_cast<std::size_t>(std::count(inner.begin(), inner.end(), ',') +
                                      std::count(inner.begin(), inner.end(), ';'));
}

void CheckNamed(const CProbe& probe, const runtime::TNamed& named) {
  probe.Expect(named.name.find("__") != std::string::npos, "the name " + named.name + " has no __ and letters");
  const std::string letters = runtime::LettersOf(named.name);
  probe.Expect(letters.find_first_not_of("Rln") == std::string::npos,
               "the name " + named.name + " has unknown letters");
  probe.Expect(!named.description.empty(), named.name + " has no description");
  probe.Expect(named.description.starts_with(named.name.substr(0, named.name.find("__"))),
               "the description of " + named.name + " names another: " + named.description);
  probe.Expect(ArgumentsDescribed(named.description) == letters.size(),
               named.name + " and its description \"" + named.description + "\" differ in the number of arguments");
}

void Listed(CProbe& probe) {
  const CClassChoices texts(probe);
  const auto listing = MakeTestbed(probe, texts, texts.Wiring());
  const std::vector<runtime::TNamed> procedures = Procedures(probe, listing->Subject());
  std::vector<bool> resolved(procedures.size(), false);
  for (const runtime::TNamed& procedure : procedures) CheckNamed(probe, procedure);
  // Some exist only with certain choices.
  for (const std::string& variant : texts.Variants()) {
    const auto testbed = MakeTestbed(probe, texts, variant);
    for (std::size_t i = 0; i < procedures.size(); ++i) {
      const std::uint32_t identifier = IdOf(testbed->Subject(), procedures[i].name);
      if (identifier == hx_vinst::kNoIdentifier) continue;
      resolved[i] = true;
      probe.Expect((identifier & hx_vinst::kHostIdentifier) == 0,
                   procedures[i].name + " resolves to an identifier of the host");
      CGuardedText name(kCapacity);
      probe.Expect(testbed->Subject().GetNameOfId(identifier, kCapacity, name.Buffer()) &&
                       runtime::Utf8(name.Text(probe, "GetNameOfId")) == procedures[i].name,
                   procedures[i].name + " resolves to an identifier of another name");
    }
  }
  for (std::size_t i = 0; i < procedures.size(); ++i) {
    probe.Expect(resolved[i], procedures[i].name + " is listed but resolves with no choice of the definition");
  }
}

void UnknownNames(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  hx_vinst::CInstrument& object = testbed->Subject();
  std::vector<std::string> names = {"",
                                    "_",
                                    "__",
                                    "__R",
                                    "NoSuchProcedure",
                                    "NoSuchProcedure__",
                                    "NoSuchProcedure__R",
                                    std::string(300, 'x'),
                                    "\xC4\x8D__R"};
  std::vector<std::string> known;
  for (const runtime::TNamed& procedure : runtime::ProceduresOf(object)) {
    known.push_back(procedure.name);
    for (const std::string& wrong : {procedure.name.substr(0, procedure.name.size() - 1), procedure.name + "x",
                                     " " + procedure.name, procedure.name.substr(1)}) {
      names.push_back(wrong);
    }
  }
  for (const std::string& name : names) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    for (const std::uint8_t flag : {std::uint8_t{0}, std::uint8_t{1}}) {
      probe.Doing("resolving '" + name + "'");
      probe.Expect(IdOf(object, name, flag) == hx_vinst::kNoIdentifier, "resolves the unknown name '" + name + "'");
    }
  }
}

void UnknownIdentifiers(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  hx_vinst::CInstrument& object = testbed->Subject();
  std::vector<std::uint32_t> identifiers = {0xFFFF,     0x8000,     0x7FFFFFFF, 0x80000000,
                                            0x80000001, 0x8000FFFF, 0xFFFFFFFE, 0xFFFFFFFF};
  for (std::uint32_t i = kIdentifiers; i < kIdentifiers + 50; ++i) identifiers.push_back(i);
  for (const std::uint32_t identifier : identifiers) {
    const std::string what = "the identifier " + std::to_string(identifier);
    probe.Doing("asking for " + what);
    CGuardedText text(kCapacity);
    probe.Expect(!object.GetNameOfId(identifier, kCapacity, text.Buffer()), "has a name for " + what);
    probe.Expect(!object.GetDescriptionOfId(identifier, kCapacity, text.Buffer()), "has a description for " + what);
    probe.Expect(text.Untouched(), "writes a text for " + what);
    std::vector<TValue> values(4, Value('R', 1.0));
    probe.Expect(!Call(probe, object, what, identifier, &values), "calls a procedure of " + what);
  }
}

void ProcedureCapacities(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  hx_vinst::CInstrument& object = testbed->Subject();
  for (std::uint32_t id = 0; id < kIdentifiers; ++id) {
    CGuardedText name(kCapacity);
    if (!object.GetNameOfId(id, kCapacity, name.Buffer())) continue;
    const std::string number = " of procedure " + std::to_string(id);
    CheckCapacities(probe, "the name" + number, [&](std::uint32_t capacity, char16_t* buffer) {
      return object.GetNameOfId(id, capacity, buffer) != 0;
    });
    CheckCapacities(probe, "the description" + number, [&](std::uint32_t capacity, char16_t* buffer) {
      return object.GetDescriptionOfId(id, capacity, buffer) != 0;
    });
    // Called with nothing, it may have something to say, in whatever room.
    for (const std::uint32_t capacity : {0u, 1u, 5u}) {
      hx_expr::TValueArray none = {0, nullptr};
      CGuardedText error(capacity);
      probe.Doing("calling procedure " + std::to_string(id) + " with an error buffer of capacity " +
                  std::to_string(capacity));
      object.Invoke(id, &none, capacity, error.Buffer());
      if (!error.Untouched()) error.Text(probe, "the error message" + number);
    }
  }
  char16_t scratch[kCapacity + 1];
  for (std::uint32_t i = 0; object.GetProcedureDescription(i, kCapacity, scratch, kCapacity, scratch); ++i) {
    probe.Expect(i < kIdentifiers, "the list of events has no end");
    CheckCapacities(probe, "the name of event " + std::to_string(i), [&](std::uint32_t capacity, char16_t* buffer) {
      return object.GetProcedureDescription(i, capacity, buffer, kCapacity, scratch) != 0;
    });
    CheckCapacities(probe, "the description of event " + std::to_string(i),
                    [&](std::uint32_t capacity, char16_t* buffer) {
                      return object.GetProcedureDescription(i, kCapacity, scratch, capacity, buffer) != 0;
                    });
  }
}

void RightArguments(CProbe& probe) {
  const CClassChoices texts(probe);
  for (const std::string& variant : texts.Variants()) {
    const CBalance balance;
    {
      const auto testbed = MakeTestbed(probe, texts, variant);
      hx_vinst::CInstrument& object = testbed->Subject();
      int k = 0;
      for (const runtime::TNamed& procedure : Procedures(probe, object)) {
        const std::uint32_t identifier = IdOf(object, procedure.name);
        if (identifier == hx_vinst::kNoIdentifier) continue;
        std::vector<TValue> values;
        for (const char letter : runtime::LettersOf(procedure.name)) values.push_back(Value(letter, 1.0));
        const std::vector<TValue> given = values;
        probe.Expect(Call(probe, object, procedure.name, identifier, &values),
                     procedure.name + " fails with right arguments");
        for (std::size_t i = 0; i < values.size(); ++i) {
          probe.Expect(values[i].type == given[i].type, procedure.name + " changes the type of an argument");
          probe.Expect(values[i].type != hx_expr::kReal || std::isfinite(values[i].real),
                       procedure.name + " gives back what is not finite");
        }
        RunOrdinary(probe, texts, *testbed, 2, static_cast<std::uint32_t>(1 + 2 * k++));
      }
    }
    balance.Check(probe, "calls with right arguments");
  }
}

// With that many arguments of every type, right and wrong.
void CallWithEachType(CProbe& probe, hx_vinst::CInstrument& object, const std::string& name, std::uint32_t identifier,
                      std::size_t count) {
  for (const std::uint32_t type : {0u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 0xFFFFFFFFu}) {
    for (const double number : kNumbers) {
      std::vector<TValue> values(count, Value('R', number));
      for (TValue& value : values) {
        value.type = type;
        if (type == hx_expr::kSingle) value.single = static_cast<float>(number > 1e38 || number < -1e38 ? 1.0 : number);
      }
      Call(probe, object, name, identifier, &values);
    }
  }
}

void WrongArguments(CProbe& probe) {
  const CClassChoices texts(probe);
  const CBalance balance;
  // The plain definition, and the last of the choices.
  for (const std::string& variant : {texts.Variants().front(), texts.Variants().back()}) {
    const auto testbed = MakeTestbed(probe, texts, variant);
    hx_vinst::CInstrument& object = testbed->Subject();
    for (const runtime::TNamed& procedure : Procedures(probe, object)) {
      const std::uint32_t identifier = IdOf(object, procedure.name);
      if (identifier == hx_vinst::kNoIdentifier) continue;
      const std::string letters = runtime::LettersOf(procedure.name);
      probe.Doing("calling " + procedure.name + " without an array or a buffer");
      CGuardedText error(kCapacity);
      const bool ran = object.Invoke(identifier, nullptr, kCapacity, error.Buffer()) != 0;
      probe.Expect(!ran || letters.empty(), procedure.name + " runs without its arguments");
      object.Invoke(identifier, nullptr, 0, nullptr);
      for (std::size_t count = 0; count < letters.size(); ++count) {
        std::vector<TValue> few(count, Value('R', 1.0));
        probe.Expect(!Call(probe, object, procedure.name, identifier, &few),
                     procedure.name + " runs with " + std::to_string(count) + " arguments");
      }
      std::vector<TValue> many(letters.size() + 5, Value('R', 1.0));
      Call(probe, object, procedure.name, identifier, &many);
      CallWithEachType(probe, object, procedure.name, identifier, letters.size());
      RunOrdinary(probe, texts, *testbed, 2);
    }
  }
  balance.Check(probe, "calls with wrong arguments");
}

void BetweenPeriods(CProbe& probe) {
  const CClassChoices texts(probe);
  for (const std::string& variant : texts.Variants()) {
    std::mt19937 random(kCallSeed);
    const CBalance balance;
    {
      const auto testbed = MakeTestbed(probe, texts, variant);
      hx_vinst::CInstrument& object = testbed->Subject();
      const std::vector<runtime::TNamed> procedures = Procedures(probe, object);
      for (std::uint32_t k = 0; k < kCalls; ++k) {
        const std::string& name = procedures[random() % procedures.size()].name;
        std::vector<TValue> values;
        for (const char letter : runtime::LettersOf(name)) {
          const bool isSmall = random() % 2 == 0;
          values.push_back(Value(letter, isSmall ? double(random() % 6) : kNumbers[random() % std::size(kNumbers)]));
        }
        // One that does not exist at the moment is refused.
        Call(probe, object, name, IdOf(object, name), &values);
        RunOrdinary(probe, texts, *testbed, kPeriodsApart, 1 + kPeriodsApart * k);
      }
    }
    balance.Check(probe, "calls between periods");
  }
}

void EventsListed(CProbe& probe) {
  const CClassTexts texts(probe);
  const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
  hx_vinst::CInstrument& object = testbed->Subject();
  const std::vector<runtime::TNamed> events = runtime::EventsOf(object);
  if (events.empty()) probe.Skip("the class has no event");
  for (const runtime::TNamed& event : events) {
    CheckNamed(probe, event);
    probe.Expect(IdOf(object, event.name) == hx_vinst::kNoIdentifier,
                 "the event " + event.name + " is a procedure as well");
    probe.Expect(IdOf(object, event.name, 1) == hx_vinst::kNoIdentifier,
                 "finds the event " + event.name + ", which nobody defined");
  }
  const auto count = static_cast<std::uint32_t>(events.size());
  for (const std::uint32_t index : {count, count + 1, kIdentifiers, 0x80000000u, 0xFFFFFFFFu}) {
    CGuardedText name(kCapacity);
    CGuardedText description(kCapacity);
    probe.Expect(!object.GetProcedureDescription(index, kCapacity, name.Buffer(), kCapacity, description.Buffer()),
                 "describes event " + std::to_string(index) + " of " + std::to_string(count));
    probe.Expect(name.Untouched() && description.Untouched(), "writes a text past the last event");
  }
}

void EventsRaised(CProbe& probe) {
  const CClassTexts texts(probe);
  const std::vector<runtime::TNamed> events = runtime::EventsOf(MakeTestbed(probe, texts, texts.Wiring())->Subject());
  if (events.empty()) probe.Skip("the class has no event");
  for (const runtime::TNamed& event : events) {
    const std::string base = event.name.substr(0, event.name.find("__"));
    // Its arguments go back as they came.
    const CBalance balance;
    {
      const CTestbed testbed(
          probe, texts.Data(), texts.Wiring(),
          "script\nfunction subject." + base + "(...) print(select('#', ...)) return ... end\nend_script;\n");
      probe.Expect(testbed.IsRead(), "an event procedure " + base + " can't be defined");
      probe.Doing("running with the event procedure " + base);
      RunOrdinary(probe, texts, testbed, 60);
      const std::string count = std::to_string(runtime::LettersOf(event.name).size());
      if (testbed.printed.empty()) probe.Fail("the event " + base + " is not raised in 60 periods");
      probe.Expect(testbed.printed.front() == count,
                   base + " is called with " + testbed.printed.front() + " arguments");
    }
    balance.Check(probe, "the event " + base);
  }
}

void ForeignEvents(CProbe& probe) {
  const CClassTexts texts(probe);
  const CBalance balance;
  {
    const auto testbed = MakeTestbed(probe, texts, texts.Wiring());
    for (const std::uint32_t first : {0u, 1u, 0x3FFFu, vcore::kEventKeep, 0x4001u, 0x80000000u, 0xFFFFFFFFu}) {
      for (const std::uint32_t second : {0u, 1u, 799u, vcore::kKeepOnRequest, 801u, 0xFFFFFFFFu}) {
        probe.Doing("the event " + std::to_string(first) + ", " + std::to_string(second));
        vcore::TEvent event = {{first, second, 0xFFFFFFFF, 0xFFFFFFFF}};
        testbed->Subject().ReceiveEvent(&event);
      }
    }
    RunOrdinary(probe, texts, *testbed, 5);
  }
  balance.Check(probe, "unknown events");
}

constexpr TCase kProcedureCases[] = {
    {"procedures/listed", EScope::kClass,
     "Every procedure that is listed is described, and its name leads to it and back.", Listed},
    {"procedures/unknown-names", EScope::kClass, "Names that are not quite a procedure's resolve to none.",
     UnknownNames},
    {"procedures/unknown-identifiers", EScope::kClass,
     "Identifiers out of range have no name, no description and no effect.", UnknownIdentifiers},
    {"procedures/capacities", EScope::kClass,
     "Names, descriptions and messages of procedures and events fit buffers of any capacity.", ProcedureCapacities},
    {"procedures/right-arguments", EScope::kClass,
     "Every procedure runs with right arguments, gives back finite numbers, and leaves outputs sound.", RightArguments},
    {"procedures/wrong-arguments", EScope::kClass,
     "Too few arguments are refused; wrong types, no array and numbers of any size do no harm.", WrongArguments},
    {"procedures/between-periods", EScope::kClass,
     "Procedures that are called between periods, in any order and with any numbers, leave outputs sound.",
     BetweenPeriods},
    {"events/listed", EScope::kClass, "Every event is described, and there is none past the last.", EventsListed},
    {"events/raised", EScope::kClass, "Every event is raised in a run, with as many arguments as it says.",
     EventsRaised},
    {"events/foreign", EScope::kClass, "Events of the host that mean nothing to an instrument do no harm.",
     ForeignEvents},
};

}  // namespace

std::span<const TCase> ProcedureCases() { return kProcedureCases; }

}  // namespace validation
