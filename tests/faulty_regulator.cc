// A small regulator of one class, written against host/ alone, which keeps every
// rule of the interface, and breaks exactly one of them when a fault is chosen
// at compile time. It has no reference file beside it.
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <new>

#include "host/gaugekit.h"

// A host finds the exports by name: no header declares them.
#pragma GCC diagnostic ignored "-Wmissing-declarations"
#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {

enum EFault {
  kNone,
  kCrashesOnLoad,
  kAcceptsAnyHost,
  kAnswersUnknownClass,
  kOverrunsBuffer,
  kMalformedImage,
  kLeaksBlock,
  kLeaksHeap,
  kNeedsInit,
  kForgetsExpression,
  kAcceptsAnyKeyword,
  kHangsOnGarbage,
  kAnswersUnknownName,
  kTrustsArguments,
  kNeverRaises,
  kLeavesRange,
  kYieldsNan,
  kCrashesOnHuge,
  kDividesByTime,
  kForgetsState,
  kBothSteps,
  kActsByHalves,
  kWritesHalf,
  kTakesShortFile,
  kSharesColor,
  kPanesInWrongOrder,
};
constexpr EFault kFault = FAULT;
constexpr bool kSteps = kFault == kBothSteps;

template <std::size_t size>
void Copy(std::uint32_t capacity, char16_t* destination, const char16_t (&text)[size]) {
  runlib::WStrAssign(capacity, destination, size - 1, text);
}

template <std::size_t size>
bool Equals(const char16_t (&text)[size], std::uint32_t length, const char16_t* other) {
  return runlib::WStrCompare(size - 1, text, length, other) == 0;
}

constexpr std::uint32_t kSetGain = 3;
constexpr char16_t kSetGainName[] = u"SetGain__R";
constexpr char16_t kSetGainText[] = u"SetGain( gain : real )";
constexpr char16_t kOnOutputName[] = u"OnOutput__R";
constexpr char16_t kOnOutputText[] = u"OnOutput( &u : real )";
constexpr std::uint32_t kFileSize = 16;
double drift = 0.0;  // over all instruments of the process

class CSmallRegulator final : public hx_vinst::CInstrument {
 public:
  CSmallRegulator() { winWidth = winHeight = 80; }

  void InitInstrument() override {
    for (gaugekit::CMeter*& meter : meters) {
      const std::uint32_t handle = hx_main::PInstrumentManager->GetClassHandle(5, u"meter");
      std::uint32_t word = 0;
      meter = static_cast<gaugekit::CMeter*>(hx_main::PInstrumentManager->MakeInstrument(handle, ctx, &word));
      if (meter == nullptr) continue;
      if (kFault == kPanesInWrongOrder) {
        RegisterFirst(meter);
      } else {
        Register(meter);
      }
    }
    void* lost = nullptr;
    if (kFault == kLeaksBlock) runlib::MemAllocate(&lost, 100);
    if (kFault == kLeaksHeap) lost = std::malloc(1000);
    initialised = true;
  }

  void Done() override {
    if (kFault == kNeedsInit && !initialised) std::abort();
    CInstrument::Done();
  }

  std::uint8_t ReadSelf(std::uint32_t capacity, char16_t* message, std::uint32_t tokenCapacity,
                        char16_t* tokenText) override {
    if (!CInstrument::ReadSelf(capacity, message, tokenCapacity, tokenText)) return 0;
    for (auto** expression : {&value, &wish}) {
      if (*expression != nullptr && kFault != kForgetsExpression) FreeExpression(expression);
      *expression = nullptr;
    }
    outputs[0] = outputs[1] = hx_vinst::kNoDataElement;
    for (gaugekit::CMeter* meter : meters) {
      if (meter == nullptr) return 0;
      meter->InitData();
    }
    fileName[0] = 0;
    gain = 1.0;
    if (kFault != kForgetsState) learnt[0] = learnt[1] = 0.0;
    vtape::TToken token = {};
    while (ReadToken(capacity, message, &token, 0)) {
      if (!ReadEntry(capacity, message, token)) return 0;
    }
    runlib::WStrAssign(capacity, message, 0, u"");
    Load();
    event = GetIdOfName(11, kOnOutputName, 1);
    return 1;
  }

  std::uint8_t NeedsTiming() override { return value != nullptr && wish != nullptr; }

  void Action(std::uint32_t reason) override {
    if (reason == 0x10 && kFault != kActsByHalves) return;
    if (!NeedsTiming() || meters[2] == nullptr) return;
    const double now = Evaluate(value, meters[2]);
    const double error = Evaluate(wish, meters[1]) - now;
    if (reason == 0x10) return;
    if (kFault == kCrashesOnHuge && std::abs(now) >= 1e300) __builtin_trap();
    const double limitedNow = std::fmin(std::fmax(now, 0.0), 100.0);
    learnt[0] = (learnt[0] + limitedNow) / 2.0;
    if (kFault == kForgetsState) drift += 0.01;
    double output = 50.0 + gain * error / 2.0 + learnt[1] + drift;
    if (kFault == kDividesByTime) output /= vcore::GetTimeMS() == lastTime ? 0.0 : 1.0;
    lastTime = vcore::GetTimeMS();
    if (kFault != kYieldsNan && !(kFault == kDividesByTime && !std::isfinite(output)) && !std::isfinite(output))
      output = 0.0;
    if (kFault != kLeavesRange && !std::isnan(output)) output = std::fmin(std::fmax(output, 0.0), 100.0);
    if (kFault == kYieldsNan && error == 0.0) output = std::nan("");
    Write(Raised(output));
  }

  std::uint8_t GetProcedureDescription(std::uint32_t index, std::uint32_t nameCapacity, char16_t* procedureName,
                                       std::uint32_t descriptionCapacity, char16_t* description) override {
    if (index != 0 || kSteps) return 0;
    Copy(nameCapacity, procedureName, kOnOutputName);
    Copy(descriptionCapacity, description, kOnOutputText);
    return 1;
  }

  std::uint8_t GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                   std::uint32_t keywordCapacity, char16_t* keyword, std::uint32_t descriptionCapacity,
                                   char16_t* description, std::uint32_t* defaultColor) override {
    if (index > 1 || flag != 0) return 0;
    *color = &colors[kFault == kSharesColor ? 0 : index];
    *defaultColor = 0xFF;
    Copy(keywordCapacity, keyword, u"ink");
    if (index == 1) Copy(keywordCapacity, keyword, u"paper");
    Copy(descriptionCapacity, description, u"a colour");
    return 1;
  }

  std::uint32_t GetIdOfName(std::uint32_t length, const char16_t* asked, std::uint8_t flag) override {
    const std::uint32_t known = CInstrument::GetIdOfName(length, asked, flag);
    if (known != hx_vinst::kNoIdentifier) return known;
    const std::uint32_t compared = kFault == kAnswersUnknownName && length > 10 ? 10 : length;
    return Equals(kSetGainName, compared, asked) ? kSetGain : hx_vinst::kNoIdentifier;
  }

  std::uint8_t GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName) override {
    if (CInstrument::GetNameOfId(identifier, capacity, procedureName)) return 1;
    if (identifier != kSetGain) return 0;
    Copy(capacity, procedureName, kSetGainName);
    return 1;
  }

  std::uint8_t GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* description) override {
    if (identifier != kSetGain) return 0;
    Copy(capacity, description, kSetGainText);
    return 1;
  }

  std::uint8_t Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                      char16_t* errorText) override {
    if ((identifier & hx_vinst::kHostIdentifier) != 0) {
      return CInstrument::Invoke(identifier, arguments, errorCapacity, errorText);
    }
    if (identifier != kSetGain) return 0;
    const bool sound = arguments != nullptr && arguments->count >= 1 && arguments->items[0].type == hx_expr::kReal &&
                       std::isfinite(arguments->items[0].real);
    if (!sound && kFault != kTrustsArguments) return 0;
    gain = arguments->items[0].real;
    return 1;
  }

  void ReceiveEvent(vcore::TEvent* received) override {
    CInstrument::ReceiveEvent(received);
    if (received->words[0] == vcore::kEventKeep && received->words[1] == vcore::kKeepAtEnd) Save();
  }

 private:
  bool ReadEntry(std::uint32_t capacity, char16_t* message, const vtape::TToken& token) {
    const auto is = [&token](const auto& keyword) { return Equals(keyword, 1023, token.text); };
    std::uint32_t code = 0;
    if (token.kind != vtape::kTokenIdentifier) {
      while (kFault == kHangsOnGarbage) usleep(1000);
      Copy(capacity, message, u"expected a keyword");
      return false;
    }
    if (IsSystemKeyword(1023, token.text, &code)) return ReadSystemKeyword(capacity, message, code);
    for (const bool isWish : {false, true}) {
      if (!(isWish ? is(u"wish_value") : is(u"expression"))) continue;
      hx_expr::TExprTreeRecord*& expression = isWish ? wish : value;
      if (expression != nullptr) FreeExpression(&expression);
      return ReadEquExpression(capacity, message, &expression, hx_expr::kReal);
    }
    for (const std::size_t i : {0, 1}) {
      if (!(kSteps ? (i == 0 ? is(u"output_plus") : is(u"output_minus")) : i == 0 && is(u"output"))) continue;
      hx_expr::TExprTreeRecord* index = nullptr;
      char16_t element[64];
      return ReadEquDataElement(capacity, message, &outputs[i], &index, 63, element,
                                kSteps ? hx_expr::kBoolean : hx_expr::kReal, 8);
    }
    if (is(u"file_name")) return ReadEquFile(capacity, message, runlib::kPathCapacity, fileName);
    if (kFault == kAcceptsAnyKeyword) {
      vtape::TToken skipped = {};
      while (ReadToken(capacity, message, &skipped, 0) && skipped.text[0] != u';') {
      }
      return true;
    }
    Copy(capacity, message, u"unknown keyword");
    return false;
  }

  double Evaluate(hx_expr::TExprTreeRecord* expression, gaugekit::CMeter* meter) {
    hx_expr::TValue result = {};
    EvaluateExpression(expression, hx_expr::kReal, &result);
    meter->SetMeterValue(result.real);
    return result.real;
  }

  double Raised(double output) {
    if (event == hx_vinst::kNoIdentifier || kFault == kNeverRaises) return output;
    hx_expr::TValue argument = {};
    hx_tool::SetValueLongReal(&argument, output);
    hx_expr::TValueArray arguments = {1, &argument};
    char16_t message[64];
    return CInstrument::Invoke(event, &arguments, 63, message) ? argument.real : output;
  }

  void Write(double output) {
    hx_expr::TValue written = {};
    for (std::uint64_t element : outputs) {
      hx_tool::SetValueLongReal(&written, output);
      if (kSteps) hx_tool::SetValueBoolean(&written, output > 60.0);
      SetDataElement(element, nullptr, &written);
    }
    meters[0]->SetMeterValue(kSteps ? 0.0 : output);
  }

  void Save() {
    if (fileName[0] == 0) return;
    const std::uint32_t handle = runlib::FileCreate(ctx->files, runlib::kPathCapacity, fileName, 0);
    if (handle == runlib::kNoHandle) return;
    const std::uint32_t size = kFault == kWritesHalf ? kFileSize / 2 : kFileSize;
    runlib::FileWrite(handle, size, learnt, size);
    runlib::FileClose(handle);
  }

  void Load() {
    if (fileName[0] == 0) return;
    const std::uint32_t handle = runlib::FileOpen(ctx, runlib::kPathCapacity, fileName, 1);
    double read[3] = {};
    const std::uint32_t count = runlib::FileRead(handle, sizeof read, read, kFileSize + 1);
    runlib::FileClose(handle);
    const bool whole = kFault == kTakesShortFile ? count > 0 : count == kFileSize;
    if (!whole || !std::isfinite(read[0]) || !std::isfinite(read[1])) return;
    learnt[0] = read[0];
    learnt[1] = read[1];
  }

  gaugekit::CMeter* meters[3] = {};  // output, wish, value
  hx_expr::TExprTreeRecord* value = nullptr;
  hx_expr::TExprTreeRecord* wish = nullptr;
  std::uint64_t outputs[2] = {hx_vinst::kNoDataElement, hx_vinst::kNoDataElement};
  std::uint32_t event = hx_vinst::kNoIdentifier;
  std::uint32_t lastTime = 0xFFFFFFFF;
  std::uint32_t colors[2] = {0xFF, 0xFF};
  double gain = 1.0;
  double learnt[2] = {};
  char16_t fileName[runlib::kPathCapacity + 1] = {};
  bool initialised = false;
};

constexpr char16_t kClassName[] = u"small_regulator";

// 4 × 2 pixels; the faulty one claims more than there can be.
constexpr std::uint8_t kImage[] = {'.', 'N', 'I',  'C',  '.',  'I', '0', '4', 4, kFault == kMalformedImage ? 0x10 : 0,
                                   2,   0,   0x12, 0x34, 0x56, 0x78};

[[gnu::constructor]] void Attach() {
  if (kFault == kCrashesOnLoad) __builtin_trap();
}

bool IsClass(std::uint32_t length, const char16_t* name) {
  return kFault == kAnswersUnknownClass || Equals(kClassName, length, name);
}

}  // namespace

EXPORT std::uint32_t Version() { return 0x01000000; }

EXPORT std::uint8_t Check(std::uint32_t capacity, char16_t* message, std::uint32_t, std::uint32_t, std::uint32_t,
                          std::uint32_t number) {
  if (number == 0x105 || kFault == kAcceptsAnyHost) return 1;
  Copy(capacity, message, u"wrong interface");
  return 0;
}

EXPORT void GetDLLInfo(std::uint32_t capacity, char16_t* name, const std::uint8_t** small, const std::uint8_t** large,
                       std::uint8_t* flag) {
  Copy(kFault == kOverrunsBuffer && capacity < 2 ? 5 : capacity, name, u"Small");
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
  void* block = nullptr;
  if (IsClass(length, name)) runlib::MemAllocate(&block, sizeof(CSmallRegulator));
  return block == nullptr ? nullptr : new (block) CSmallRegulator();
}
