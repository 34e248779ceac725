// A plug-in of one small regulator, which keeps every rule of the interface, and
// breaks exactly one of them when it is linked with the name of a fault, or compiled
// for one that is in what it is made of. What regulators have in common is ours; it
// has no reference file beside it. As OddProcedures it keeps them, and offers
// procedures of shapes that ours don't have.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "regulator/allocation.h"
#include "regulator/real_regulator.h"

// A host finds the exports by name: no header declares them.
#pragma GCC diagnostic ignored "-Wmissing-declarations"
#define EXPORT extern "C" __attribute__((visibility("default")))

extern "C" const char kFaultName[];

namespace {

using namespace loopbox;

#ifdef FAULT
constexpr std::string_view kMadeWith = FAULT;
#else
constexpr std::string_view kMadeWith;
#endif
const std::string_view kFault = kFaultName;  // "None": right
constexpr bool kSteps = kMadeWith == "BothSteps";

constexpr std::uint32_t kFileSize = 16;

// What OddProcedures offers instead. Without a description: known by name alone.
struct TOddProcedure {
  std::u16string_view name;
  std::u16string_view description;
};
constexpr TOddProcedure kOddProcedures[] = {
    {u"GetEchoes__rRl", u"GetEchoes( a : real; &b : real; &c : boolean )"},
    {u"GetInfinity__rRR", u"GetInfinity( a : real; &b, &infinity : real )"},
    {u"Widest__RRRRRRRRRRRRRRRR", u"Widest( a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p : real )"},
    {u"TooWide__RRRRRRRRRRRRRRRRR", u"TooWide( a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q : real )"},
    {u"Misdescribed__R", u"Misdescribed( a, b : real )"},
    {u"GetTight__R", u"GetTight(&a : real)"},
    {u"Plain__", u"Plain"},
    {u"FailAloud__R", u"FailAloud( a : real )"},
    {u"FailSilently__R", u"FailSilently( a : real )"},
    {u"Swap__RR", {}},
    {u"Flip__l", {}},
    {u"IsEven__R", {}},
    {u"Eight__RRRRRRRR", {}},
    {u"Nine__RRRRRRRRR", {}},
    {u"GetEight__RRRRRRRR", {}},
    {u"GetNine__RRRRRRRRR", {}},
};
double drift = 0.0;  // over all instruments of the process

extern const TRegulatorTables kTables;

class CSmallRegulator final : public CRealRegulator {
 public:
  CSmallRegulator() : CRealRegulator(kTables) {}

  void InitInstrument() override {
    CRealRegulator::InitInstrument();
    if (kFault == "PanesInWrongOrder") std::swap(outputMeter, valueMeter);
    void* lost = nullptr;
    if (kFault == "LeaksBlock") runlib::MemAllocate(&lost, 100);
    if (kFault == "LeaksHeap") lost = std::malloc(1000);
  }

  void Done() override {
    if (kFault == "NeedsInit" && !IsComplete()) std::abort();
    CRealRegulator::Done();
  }

  std::uint8_t ReadSelf(std::uint32_t capacity, char16_t* message, std::uint32_t tokenCapacity,
                        char16_t* tokenText) override {
    const bool read = CRealRegulator::ReadSelf(capacity, message, tokenCapacity, tokenText) != 0;
    while (kFault == "HangsOnGarbage" && !read && kExpectedIdentifier.text == std::u16string_view(message))
      usleep(1000);
    if (kFault == "NeverRaises") loop.onOutputId = hx_vinst::kNoIdentifier;
    Load();
    return read || kFault == "AcceptsAnyKeyword";
  }

  void Reset() override {
    if (kFault == "ForgetsExpression") loop.valueExpr = loop.wishValueExpr = nullptr;
    const std::uint8_t inverse = loop.inverse;
    CRealRegulator::Reset();
    if (kFault == "KeepsFlag") loop.inverse = inverse;
    fileName[0] = 0;
    gain = 1.0;
    learnt[0] = learnt[1] = 0.0;
  }

  void Action(std::uint32_t reason) override {
    if (reason != kIdleBit) return CRealRegulator::Action(reason);
    if (kFault == "ActsByHalves") valueMeter->SetMeterValue(1.0);
  }

  bool Decide(double wish, double value, bool, double* output) override {
    hx_expr::TValue given = {};  // not limited by the pane
    EvaluateExpression(loop.valueExpr, hx_expr::kReal, &given);
    if (kFault == "CrashesOnHuge" && std::abs(given.real) >= 1e300) __builtin_trap();
    learnt[0] = (learnt[0] + value) / 2.0;
    if (kFault == "ForgetsState") drift += 0.01;
    const double computed = 50.0 + gain * (wish - value) + learnt[1] + drift;
    *output = kFault == "LeavesRange" ? computed : LimitOutput(Mirror(computed));
    if (kFault == "YieldsNan" && wish == value) *output = std::nan("");
    if (kFault == "DividesByTime" && vcore::GetTimeMS() == lastTime) *output = computed / 0.0;
    lastTime = vcore::GetTimeMS();
    return true;
  }

  void WriteOutput(double output) override {
    if (!kSteps) return CRealRegulator::WriteOutput(output);
    outputElement.WriteBoolean(*this, output > 60.0);
    minusElement.WriteBoolean(*this, output > 60.0);
  }

  std::uint8_t GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                   std::uint32_t keywordCapacity, char16_t* keyword, std::uint32_t descriptionCapacity,
                                   char16_t* description, std::uint32_t* defaultColor) override {
    const bool told = CRealRegulator::GetColorDescription(index, flag, color, keywordCapacity, keyword,
                                                          descriptionCapacity, description, defaultColor) != 0;
    if (kFault == "SharesColor" && index == 1) --*color;
    return told;
  }

  std::uint32_t GetIdOfName(std::uint32_t length, const char16_t* asked, std::uint8_t flag) override {
    if (kFault == "OddProcedures") {
      const std::u16string_view wanted(asked, length);
      // As long as the script may ask for.
      if (wanted.find_first_not_of(u'N') + 2 == length && wanted.ends_with(u"__")) return std::size(kOddProcedures);
      const auto* const found = std::ranges::find(kOddProcedures, wanted, &TOddProcedure::name);
      if (found == std::end(kOddProcedures)) return hx_vinst::kNoIdentifier;
      return static_cast<std::uint32_t>(found - kOddProcedures);
    }
    return CRealRegulator::GetIdOfName(kFault == "AnswersUnknownName" && length > 10 ? 10 : length, asked, flag);
  }

  std::uint8_t GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* told) override {
    return kFault == "OddProcedures" ? Tell(identifier, &TOddProcedure::name, capacity, told)
                                     : CRealRegulator::GetNameOfId(identifier, capacity, told);
  }

  std::uint8_t GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* told) override {
    return kFault == "OddProcedures" ? Tell(identifier, &TOddProcedure::description, capacity, told)
                                     : CRealRegulator::GetDescriptionOfId(identifier, capacity, told);
  }

  std::uint8_t Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                      char16_t* errorText) override {
    if (kFault == "OddProcedures") return InvokeOdd(identifier, arguments->items, errorCapacity, errorText);
    if (kFault == "TrustsArguments" && identifier == 0) gain = arguments->items[0].real;
    return CRealRegulator::Invoke(identifier, arguments, errorCapacity, errorText);
  }

  void ReceiveEvent(vcore::TEvent* received) override {
    CRealRegulator::ReceiveEvent(received);
    if (received->words[0] != vcore::kEventKeep || received->words[1] != vcore::kKeepAtEnd || fileName[0] == 0) return;
    const std::uint32_t handle = runlib::FileCreate(ctx->files, runlib::kPathCapacity, fileName, 0);
    if (handle == runlib::kNoHandle) return;
    const std::uint32_t size = kFault == "WritesHalf" ? kFileSize / 2 : kFileSize;
    runlib::FileWrite(handle, size, learnt, size);
    runlib::FileClose(handle);
  }

  TOutputElement minusElement;
  double gain = 1.0;
  char16_t fileName[runlib::kPathCapacity + 1] = {};

 private:
  static std::uint8_t Tell(std::uint32_t identifier, std::u16string_view TOddProcedure::*text, std::uint32_t capacity,
                           char16_t* told) {
    if (identifier >= std::size(kOddProcedures) || kOddProcedures[identifier].description.empty()) return 0;
    const std::u16string_view wanted = kOddProcedures[identifier].*text;
    runlib::WStrAssign(capacity, told, static_cast<std::uint32_t>(wanted.size()), wanted.data());
    return 1;
  }

  // What isn't named here leaves its arguments as they are.
  static std::uint8_t InvokeOdd(std::uint32_t identifier, hx_expr::TValue* arguments, std::uint32_t capacity,
                                char16_t* message) {
    const std::u16string_view called =
        identifier < std::size(kOddProcedures) ? kOddProcedures[identifier].name : std::u16string_view();
    if (called.starts_with(u"Swap")) std::swap(arguments[0], arguments[1]);
    if (called.starts_with(u"Flip")) arguments[0].boolean = arguments[0].boolean == 0;
    if (called.starts_with(u"GetInfinity")) arguments[2].real = HUGE_VAL;
    if (called.starts_with(u"FailAloud")) runlib::WStrAssign(capacity, message, 1, u"!");
    return !called.starts_with(u"Fail");
  }

  void Load() {
    if (fileName[0] == 0) return;
    const std::uint32_t handle = runlib::FileOpen(ctx, runlib::kPathCapacity, fileName, 1);
    double read[3] = {};
    const std::uint32_t count = runlib::FileRead(handle, sizeof read, read, kFileSize + 1);
    runlib::FileClose(handle);
    const bool whole = kFault == "TakesShortFile" ? count > 0 : count == kFileSize;
    if (whole && std::isfinite(read[0]) && std::isfinite(read[1])) std::copy(read, read + 2, learnt);
  }

  std::uint32_t lastTime = 0xFFFFFFFF;
  double learnt[2] = {};
};

constexpr TKeywordRow kKeywords[] = {
    kExpression,
    kWishValue,
    kInverse,
    {Text<9>(u"file_name"),
     [](CRegulator& regulator, TRegulatorDefinition& definition) {
       return regulator.ReadEquFile(definition.capacity, definition.message, runlib::kPathCapacity,
                                    Field<&CSmallRegulator::fileName>(regulator)) != 0;
     }},
    kSteps ? TKeywordRow{Text<11>(u"output_plus"), OutputEntry<&CRegulator::outputElement, hx_expr::kBoolean>}
           : kRealOutput,
    {Text<12>(u"output_minus"), OutputEntry<&CSmallRegulator::minusElement, hx_expr::kBoolean>},
};

constexpr TProcedureRow kProcedures[] = {
    {0, Text<10>(u"SetGain__R"), Text<22>(u"SetGain( gain : real )"), nullptr, SetReals<&CSmallRegulator::gain>}};

constexpr TRegulatorTables kTables = {
    {std::span(kKeywords).first(kSteps ? 6 : 5), kUnknownIdentifier}, kProcedures, kRealEvents};

constexpr std::u16string_view kClassName = u"pid_regulator";

// 4 × 2 pixels; the faulty one claims more than there can be.
constexpr std::uint8_t kImage[] = {
    '.', 'N', 'I', 'C', '.', 'I', '0', '4', 4, kMadeWith == "MalformedImage" ? 0x10 : 0, 2, 0, 0x12, 0x34, 0x56, 0x78};

[[gnu::constructor]] void Attach() {
  if (std::string_view(kFaultName) == "CrashesOnLoad") __builtin_trap();  // before kFault is made
}

// What the environment asks for.
void Misbehave() {
  const char* asked = std::getenv("ENDS");
  const std::string_view how = asked == nullptr ? "" : asked;
  const bool floods = how == "floods";
  // Whatever is open, the answer's pipe among it.
  for (bool more = floods || how == "forges"; more; more = floods) {
    for (int descriptor = 3; descriptor < 10; ++descriptor) {
      if (write(descriptor, "9 well", 6) < 0) continue;
    }
  }
  if (how == "exit") std::exit(0);
  if (how == "_exit" || how == "forges") _exit(0);
  if (how == "quick_exit") std::quick_exit(0);
  if (how == "signal") raise(SIGUSR1);
  const bool leaves = how == "leaves";
  if (!leaves && how != "hangs") return;
  if (fork() != 0) {
    if (leaves) return;
    for (;;) pause();
  }
  setsid();
  execlp("sleep", std::getenv("LEFT"), "1000", nullptr);
}

void Copy(std::uint32_t capacity, char16_t* destination, std::u16string_view text) {
  runlib::WStrAssign(capacity, destination, static_cast<std::uint32_t>(text.size()), text.data());
}

bool IsClass(std::uint32_t length, const char16_t* name) {
  return kFault == "AnswersUnknownClass" || kClassName == std::u16string_view(name, length);
}

}  // namespace

EXPORT std::uint32_t Version() {
  if (kFault == "Ends") Misbehave();
  if (kFault == "Crashes") raise(SIGSEGV);
  return 0x01000000;
}

EXPORT std::uint8_t Check(std::uint32_t capacity, char16_t* message, std::uint32_t, std::uint32_t, std::uint32_t,
                          std::uint32_t number) {
  if ((number == 0x105 && kFault != "RefusesHost") || kFault == "AcceptsAnyHost") return 1;
  Copy(capacity, message, u"too old");
  return 0;
}

EXPORT void GetDLLInfo(std::uint32_t capacity, char16_t* name, const std::uint8_t** small, const std::uint8_t** large,
                       std::uint8_t* flag) {
  Copy(kFault == "OverrunsBuffer" && capacity < 2 ? 5 : capacity, name, u"Small");
  *small = *large = kImage;
  *flag = 1;
}

EXPORT std::uint8_t GetInstrumentName(std::uint32_t index, std::uint32_t capacity, char16_t* name) {
  if (index != 0) return 0;
  Copy(capacity, name, kClassName);
  return 1;
}

EXPORT std::uint8_t GetInstrumentInfo(std::uint32_t length, const char16_t* name, const std::uint8_t** small,
                                      const std::uint8_t** large, std::uint32_t* word, std::uint32_t capacity,
                                      char16_t* description) {
  if (!IsClass(length, name)) return 0;
  *small = *large = kImage;
  *word = 1;
  Copy(capacity, description, u"A small regulator");
  return 1;
}

EXPORT hx_vinst::CInstrument* MakeInstrument(std::uint32_t length, const char16_t* name) {
  if (kFault == "CrashesMaking") std::abort();
  return IsClass(length, name) && kFault != "MakesNull" ? Make<CSmallRegulator>() : nullptr;
}
