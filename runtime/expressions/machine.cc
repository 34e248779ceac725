#include "runtime/expressions/machine.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "runtime/numbers/elementary_functions.h"

namespace runtime {
namespace {

double Sign(double x) { return x > 0 ? 1.0 : x < 0 ? -1.0 : x == 0 ? 0.0 : x; }

// In the order of EFunction1 and EFunction2. Those of the C library are exact.
constexpr double (*kFunctions1[])(double) = {
    elementary::Sin,
    elementary::Cos,
    elementary::Tan,
    elementary::ArcSin,
    elementary::ArcCos,
    elementary::ArcTan,
    elementary::Exp,
    elementary::Ln,
    elementary::Log10,
    [](double x) { return std::sqrt(x); },
    [](double x) { return std::fabs(x); },
    Sign,
    [](double x) { return std::floor(x); },
    [](double x) { return std::ceil(x); },
    [](double x) { return std::round(x); },
};
constexpr double (*kFunctions2[])(double, double) = {
    elementary::Power,
    [](double x, double y) { return std::fmod(x, y); },
    elementary::ArcTan2,
};

struct TMessage {
  std::string_view text;
  std::u16string_view wide;
};
constexpr TMessage kMessages[] = {
    {"", u""},
    {"Index mimo rozsah", u"Index mimo rozsah"},
    {"Výsledek není konečné číslo", u"Výsledek není konečné číslo"},
};

double Minimum(double a, double b) { return b < a || std::isnan(b) ? b : a; }
double Maximum(double a, double b) { return b > a || std::isnan(b) ? b : a; }
// Of a double's bits; the sign is shifted out.
bool IsFinite(std::uint64_t bits) { return bits << 1 < std::uint64_t{0x7FF0000000000000} << 1; }

double Truth(bool condition) { return condition ? 1.0 : 0.0; }

template <typename TData>
const TData* Address(std::uint64_t bits) {
  return std::bit_cast<const TData*>(static_cast<std::uintptr_t>(bits));
}

}  // namespace

std::string_view EvalMessage(EEvalStatus status) { return kMessages[static_cast<std::size_t>(status)].text; }
std::u16string_view EvalMessage16(EEvalStatus status) { return kMessages[static_cast<std::size_t>(status)].wide; }

bool ToIndex(double value, std::uint32_t count, std::uint32_t* index) {
  // Truncation makes 0 of all above -1.
  if (!(value > -1.0 && value < count)) return false;
  *index = static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
  return true;
}

// Each operation goes on with the next by a jump of its own, which processors
// foresee far better than one that all share (labels as values are an extension
// of both compilers); and it calls nothing, so that nothing has to be saved.
// NOLINTNEXTLINE(readability-function-size): every operation is in it, so that each can go on with the next.
TRun Execute(const std::uint64_t* code, double* next, hx_expr::TExprTreeRecord* record, TStop* stop, double top) {
#define BINARY_LABELS(form)                                                                                       \
  &&add##form, &&subtract##form, &&multiply##form, &&divide##form, &&equal##form, &&notEqual##form, &&less##form, \
      &&lessOrEqual##form, &&greater##form, &&greaterOrEqual##form, &&minimum##form, &&maximum##form
  // In the order of EOpcode.
  static const void* const kLabels[] = {&&end,
                                        &&constant,
                                        &&loadReal,
                                        &&loadBoolean,
                                        &&loadInteger,
                                        &&indexReal,
                                        &&indexBoolean,
                                        &&indexInteger,
                                        &&negate,
                                        &&invert,
                                        BINARY_LABELS(),
                                        BINARY_LABELS(Real),
                                        BINARY_LABELS(Constant),
                                        &&stopHere,
                                        &&stopHere,
                                        &&jump,
                                        &&jumpIfFalse,
                                        &&jumpUnlessTrue,
                                        &&jumpIfTrue};
#undef BINARY_LABELS
  static_assert(std::size(kLabels) == static_cast<std::size_t>(EOpcode::kOr) + 1);
  const auto operand = [&code] { return *code >> 8; };
  const auto push = [&](double value) {
    *next++ = top;
    top = value;
  };
  // What an index on the stack names of an array; null when it is outside.
  const auto indexed = [&](auto type) -> const decltype(type)* {
    std::uint32_t index;
    const bool inside = ToIndex(top, static_cast<std::uint32_t>(operand() & 0xFFFFFF), &index);
    return inside ? Address<decltype(type)>(*++code) + index : nullptr;
  };

#define GO_ON goto* kLabels[*++code & 0xFF]
  goto* kLabels[*code & 0xFF];

end : {
  const auto bits = std::bit_cast<std::uint64_t>(top);
  if (IsFinite(bits) && !record->IsFailing()) [[likely]] {
    // What stays as it is leaves its cache line clean.
    if (std::bit_cast<std::uint64_t>(record->lastGood) != bits) record->lastGood = top;
    return {top, nullptr};
  }
}
stopHere:
  *stop = {record, code, next};
  return {top, stop};
constant:
  push(std::bit_cast<double>(*++code));
  GO_ON;
loadReal:
  push(*Address<double>(operand()));
  GO_ON;
loadBoolean:
  push(*Address<std::uint8_t>(operand()));
  GO_ON;
loadInteger:
  push(*Address<std::int32_t>(operand()));
  GO_ON;

#define INDEX(label, type)                  \
  label:                                    \
  if (const type* item = indexed(type())) { \
    top = *item;                            \
    GO_ON;                                  \
  }                                         \
  goto stopHere;
  INDEX(indexReal, double)
  INDEX(indexBoolean, std::uint8_t)
  INDEX(indexInteger, std::int32_t)
#undef INDEX

negate:
  top = -top;
  GO_ON;
invert:
  top = Truth(top == 0);
  GO_ON;

// The result of a and b, wherever b comes from.
#define BINARY(label, result)                        \
  label : {                                          \
    const double a = *--next;                        \
    const double b = top;                            \
    top = result;                                    \
    GO_ON;                                           \
  }                                                  \
  label##Real : {                                    \
    const double a = top;                            \
    const double b = *Address<double>(operand());    \
    top = result;                                    \
    GO_ON;                                           \
  }                                                  \
  label##Constant : {                                \
    const double a = top;                            \
    const double b = std::bit_cast<double>(*++code); \
    top = result;                                    \
    GO_ON;                                           \
  }
  BINARY(add, a + b)
  BINARY(subtract, a - b)
  BINARY(multiply, a * b)
  BINARY(divide, a / b)
  BINARY(equal, Truth(a == b))
  BINARY(notEqual, Truth(a != b))
  BINARY(less, Truth(a < b))
  BINARY(lessOrEqual, Truth(a <= b))
  BINARY(greater, Truth(a > b))
  BINARY(greaterOrEqual, Truth(a >= b))
  BINARY(minimum, Minimum(a, b))
  BINARY(maximum, Maximum(a, b))
#undef BINARY

jump:
  code += operand() - 1;
  GO_ON;
jumpIfFalse : {
  const bool jumps = top == 0;
  top = *--next;
  if (jumps) goto jump;
  GO_ON;
}
jumpUnlessTrue:
  if (top == 0) goto jump;
  top = *--next;
  GO_ON;
jumpIfTrue:
  if (top != 0) goto jump;
  top = *--next;
  GO_ON;
#undef GO_ON
}

TEvaluation Finish(TRun run) {
  TStop& stop = *run.stop;
  hx_expr::TExprTreeRecord* const record = stop.record;
  std::uint32_t mark = record->mark;
  auto status = EEvalStatus::kOk;
  while (status == EEvalStatus::kOk) {
    if (run.stop == nullptr) return {run.top};
    const std::uint64_t operand = *stop.code >> 8;
    const auto opcode = static_cast<EOpcode>(*stop.code & 0xFF);
    if (opcode == EOpcode::kReturn) {
      if (std::isfinite(run.top)) {
        record->lastGood = run.top;
        record->failedMark = hx_expr::TExprTreeRecord::kNotFailing;
        return {run.top};
      }
      status = EEvalStatus::kNotFinite;
    } else if (opcode == EOpcode::kCall1 || opcode == EOpcode::kCall2) {
      const double result =
          opcode == EOpcode::kCall1 ? kFunctions1[operand](run.top) : kFunctions2[operand](*--stop.next, run.top);
      run = Execute(stop.code + 1, stop.next, record, &stop, result);
    } else {
      status = EEvalStatus::kIndexOutOfRange;
      mark = record->indexMarks[static_cast<std::uint32_t>(operand >> 24)];
    }
  }
  const bool isNew = record->failedMark != mark;
  record->failedMark = mark;
  return {record->lastGood, status, isNew, mark};
}

}  // namespace runtime
