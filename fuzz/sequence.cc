// A host, an application and an operator at their worst: an instrument is driven by
// calls, values, clock steps and events in any order. The first bytes choose the
// class and its definition.
#include <bit>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "fuzz/harness.h"
#include "runtime/platform/clock.h"
#include "runtime/text/wide_text.h"

namespace {

using fuzz::CBytes;
using fuzz::Check;

// What a regulator can be given.
struct TChoices {
  const char* options[8];  // one for each bit of a byte
  const char* event;       // the script's
};

const std::map<std::string, TChoices> kChoices = {
    // by the letters of its events
    {"R",
     {{"inverse;", "manual = hand; blink_rate = 500;", "parameters adaptive = true; end_parameters;",
       "parameters refil = true; end_parameters;",
       "output_section range_from = -20; range_to = 120; end_output_section;",
       "value_section range_from = -1e9; range_to = 1e300; mode = history; end_value_section;",
       "parameters adaptive = true; regulator_type = variable; end_parameters;", "receivers = shown; always_activate;"},
      "(u) return data.hand end"}},
    {"l",
     {{"inverse;", "divergence_plus = 1;", "divergence_minus = 2;", "receivers = shown; always_activate;",
       "output_section range_from = 5; range_to = 6; end_output_section;",
       "value_section range_from = -1e9; range_to = 1e300; mode = history; end_value_section;", "show_description;",
       "position = 1, 2, 300, 4;"},
      "(u) return data.hand > 0 end"}},
    {"ll",
     {{"inverse;", "divergence_plus = 1;", "divergence_minus = 2;", "receivers = shown; always_activate;",
       "inactive_hit = 0;", "value_section range_from = -1e9; range_to = 1e300; mode = history; end_value_section;",
       "inactive_hit = -1;", "show_description;"},
      "(minus, plus) return data.hand > 0, data.hand < 10 end"}},
};

std::string Text(const std::string& className, const std::string& entries) {
  return tests::OneRegulator(className, entries) + "instrument meter shown expression = x; end_instrument;\n";
}

// A class, and of what its like can be given what it accepts.
struct TSubject {
  std::string className;
  bool isContinuous;
  std::vector<std::string> options;
  std::string event;
};

std::vector<TSubject> FindSubjects() {
  std::vector<TSubject> subjects;
  for (const std::string& className : tests::ClassNames()) {
    const std::string letters = tests::EventLetters(className);
    const TChoices& choices = kChoices.at(letters);
    TSubject subject = {className, letters == "R", {}, choices.event};
    for (const std::string option : choices.options) {
      if (tests::CRun(Text(className, option)).IsRead()) subject.options.push_back(option);
    }
    subjects.push_back(std::move(subject));
  }
  return subjects;
}

constexpr const char* kUnlisted[] = {"SetForgetCoefficient__R", "GetForgetCoefficient__R", "Debug__RRRR",
                                     "SetParameters__RR",       "NoSuchProcedure__R",      ""};

constexpr double kUnwritten = -1.25e-300;  // stands in `u` until the regulator writes there
constexpr int kSteps = 200;

std::string Text(CBytes& bytes, const TSubject& subject) {
  const std::uint8_t chosen = bytes.Byte();
  std::string entries;
  for (std::size_t bit = 0; bit < subject.options.size(); ++bit) {
    if ((chosen >> bit & 1) != 0) entries += subject.options[bit] + "\n";
  }
  std::string text = Text(subject.className, entries);
  const std::size_t event = bytes.Below(4);
  if (event == 1 || event == 3) text += "script\nfunction reg.OnOutput" + subject.event + "\nend_script;\n";
  if (event >= 2) text += "script\nfunction reg.OnOutputChange" + subject.event + "\nend_script;\n";
  return text;
}

hx_expr::TValue Value(CBytes& bytes) {
  hx_expr::TValue value = {};
  value.type = static_cast<std::uint32_t>(bytes.Below(13));
  const double real = bytes.Real();
  if (value.type == hx_expr::kReal) {
    value.real = real;
  } else {
    value.unsigned32 = bytes.Word();  // of a kSingle its bits
  }
  return value;
}

class CSequence {
 public:
  CSequence(tests::CRun& theRun, bool continuous, CBytes& theBytes)
      : run(theRun), isContinuous(continuous), bytes(theBytes), object(theRun.Object("reg")) {}

  void Step();

 private:
  void Act(std::uint32_t reason);
  void Call();

  tests::CRun& run;
  bool isContinuous;
  CBytes& bytes;
  hx_vinst::CInstrument& object;
  std::uint32_t now = 0;  // milliseconds
};

// lastOutput is what was written; nothing else is written.
void CSequence::Act(std::uint32_t reason) {
  run.SetValue("u", kUnwritten);
  object.Action(reason);
  run.State().activated.clear();
  const fuzz::TOutput output = fuzz::OutputOf(run, "reg");
  const double u = run.Value("u");
  if (isContinuous ? u != kUnwritten : reason != 0x10 && reason != 0) fuzz::CheckOutput(output);
  Check(std::isfinite(output.last), "the output is finite");
  const double plus = run.Value("plus");
  const double minus = run.Value("minus");
  Check(plus == 0.0 || minus == 0.0, "both step outputs are never on together");
  const double written = isContinuous ? (u == kUnwritten ? output.last : u) : run.Value("on") + plus - minus;
  Check(written == output.last, "lastOutput equals what was written");
  for (std::size_t pane = 0; pane < 3; ++pane) {
    Check(std::isfinite(run.Instrument("reg").Pane(pane).value), "what a pane shows is finite");
  }
}

void CSequence::Call() {
  const std::vector<runtime::TNamed> listed = run.Instrument("reg").Procedures();
  const std::size_t choice = bytes.Below(listed.size() + std::size(kUnlisted) + 1);
  std::uint32_t identifier = 0;
  if (choice == listed.size() + std::size(kUnlisted)) {
    identifier = bytes.Word();
  } else {
    const std::u16string name =
        runtime::Utf16(choice < listed.size() ? listed[choice].name : kUnlisted[choice - listed.size()]);
    identifier = object.GetIdOfName(static_cast<std::uint32_t>(name.size()), name.c_str(), bytes.Byte() & 1);
  }
  std::vector<hx_expr::TValue> values(bytes.Below(6));
  for (hx_expr::TValue& value : values) value = Value(bytes);
  hx_expr::TValueArray arguments = {static_cast<std::uint32_t>(values.size()), values.data()};
  char16_t error[64] = {};
  object.Invoke(identifier, &arguments, static_cast<std::uint32_t>(bytes.Below(64)), error);
}

void CSequence::Step() {
  constexpr std::uint32_t kClockSteps[] = {
      0, 1, 100, 500, 1000, 60'000, vcore::kMillisecondsPerDay - 1000, vcore::kMillisecondsPerDay - 1};
  constexpr const char* kElements[] = {"x", "wish", "hand"};
  switch (bytes.Below(10)) {
    case 0:
    case 1:
    case 2:
      now = (now + kClockSteps[bytes.Below(std::size(kClockSteps))]) % vcore::kMillisecondsPerDay;
      runtime::SetClock(now);
      return Act(hx_vinst::kActionTimer);
    case 3:
      now = bytes.Word() % vcore::kMillisecondsPerDay;
      runtime::SetClock(now);
      return;
    case 4:
      return Act(bytes.Byte() < 200 ? static_cast<std::uint32_t>(bytes.Below(32)) : bytes.Word());
    case 5:
      return run.SetValue(kElements[bytes.Below(std::size(kElements))], bytes.Real());
    case 6:
      return run.SetValue("run", bytes.Byte() & 1);
    case 7:
      return Call();
    case 8: {
      vcore::TEvent event = {{bytes.Byte() < 128 ? vcore::kEventKeep : bytes.Word(),
                              bytes.Byte() < 128 ? vcore::kKeepOnRequest : bytes.Word(), bytes.Word(), 0}};
      return object.ReceiveEvent(&event);
    }
    default:
      object.Blink(bytes.Byte() & 1);
      const auto side = [this] { return std::bit_cast<std::int32_t>(bytes.Word()) >> bytes.Below(32); };
      object.NewRect({side(), side(), side(), side()});
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<TSubject> subjects = FindSubjects();
  const fuzz::CMemoryBalance balance;
  CBytes bytes(data, size);
  const TSubject& subject = subjects[bytes.Below(subjects.size())];
  tests::CRun run(Text(bytes, subject), fuzz::Limited());
  Check(run.IsRead(), "the definition is right, not: " + run.Diagnostics());
  runtime::SetClock(0);
  CSequence sequence(run, subject.isContinuous, bytes);
  for (int i = 0; i < kSteps && !bytes.IsAtEnd(); ++i) sequence.Step();
  run->End();
  return 0;
}
