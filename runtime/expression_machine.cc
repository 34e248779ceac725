#include "runtime/expression_machine.h"

#include <bit>
#include <cmath>

#include "runtime/elementary_functions.h"

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
double Truth(bool condition) { return condition ? 1.0 : 0.0; }

template <typename TData>
const TData* Address(std::uint64_t bits) {
  return std::bit_cast<const TData*>(static_cast<std::uintptr_t>(bits));
}

// On kIndexOutOfRange *ordinal tells which index.
EvalStatus Run(const std::uint64_t* code, double* result, std::uint32_t* ordinal) {
  double stack[kStackDepth + 1];  // the first stays unused
  double* top = stack;
  for (;; ++code) {
    const std::uint64_t operand = *code >> 8;
    const auto opcode = static_cast<EOpcode>(*code & 0xFF);
    switch (opcode) {
      case EOpcode::kReturn:
        *result = *top;
        return std::isfinite(*top) ? EvalStatus::kOk : EvalStatus::kNotFinite;
      case EOpcode::kConstant:
        *++top = std::bit_cast<double>(*++code);
        break;
      case EOpcode::kLoadReal:
        *++top = *Address<double>(operand);
        break;
      case EOpcode::kLoadBoolean:
        *++top = *Address<std::uint8_t>(operand);
        break;
      case EOpcode::kLoadInteger:
        *++top = *Address<std::int32_t>(operand);
        break;
      case EOpcode::kIndexReal:
      case EOpcode::kIndexBoolean:
      case EOpcode::kIndexInteger: {
        std::uint32_t index;
        if (!ToIndex(*top, static_cast<std::uint32_t>(operand & 0xFFFFFF), &index)) {
          *ordinal = static_cast<std::uint32_t>(operand >> 24);
          return EvalStatus::kIndexOutOfRange;
        }
        const std::uint64_t first = *++code;
        *top = opcode == EOpcode::kIndexReal      ? Address<double>(first)[index]
               : opcode == EOpcode::kIndexBoolean ? Address<std::uint8_t>(first)[index]
                                                  : Address<std::int32_t>(first)[index];
        break;
      }
      case EOpcode::kNegate:
        *top = -*top;
        break;
      case EOpcode::kNot:
        *top = Truth(*top == 0);
        break;
      case EOpcode::kAdd:
        --top;
        top[0] = top[0] + top[1];
        break;
      case EOpcode::kSubtract:
        --top;
        top[0] = top[0] - top[1];
        break;
      case EOpcode::kMultiply:
        --top;
        top[0] = top[0] * top[1];
        break;
      case EOpcode::kDivide:
        --top;
        top[0] = top[0] / top[1];
        break;
      case EOpcode::kEqual:
        --top;
        top[0] = Truth(top[0] == top[1]);
        break;
      case EOpcode::kNotEqual:
        --top;
        top[0] = Truth(top[0] != top[1]);
        break;
      case EOpcode::kLess:
        --top;
        top[0] = Truth(top[0] < top[1]);
        break;
      case EOpcode::kLessOrEqual:
        --top;
        top[0] = Truth(top[0] <= top[1]);
        break;
      case EOpcode::kGreater:
        --top;
        top[0] = Truth(top[0] > top[1]);
        break;
      case EOpcode::kGreaterOrEqual:
        --top;
        top[0] = Truth(top[0] >= top[1]);
        break;
      case EOpcode::kMinimum:
        --top;
        top[0] = Minimum(top[0], top[1]);
        break;
      case EOpcode::kMaximum:
        --top;
        top[0] = Maximum(top[0], top[1]);
        break;
      case EOpcode::kCall1:
        *top = kFunctions1[operand](*top);
        break;
      case EOpcode::kCall2:
        --top;
        top[0] = kFunctions2[operand](top[0], top[1]);
        break;
      case EOpcode::kJump:
        code += operand - 1;
        break;
      case EOpcode::kJumpIfFalse:
        if (*top-- == 0) code += operand - 1;
        break;
      case EOpcode::kAnd:
        if (*top == 0) {
          code += operand - 1;
        } else {
          --top;
        }
        break;
      case EOpcode::kOr:
        if (*top != 0) {
          code += operand - 1;
        } else {
          --top;
        }
        break;
    }
  }
}

}  // namespace

double Call(EFunction1 function, double x) { return kFunctions1[static_cast<std::size_t>(function)](x); }
double Call(EFunction2 function, double x, double y) { return kFunctions2[static_cast<std::size_t>(function)](x, y); }

std::string_view EvalMessage(EvalStatus status) { return kMessages[static_cast<std::size_t>(status)].text; }
std::u16string_view EvalMessage16(EvalStatus status) { return kMessages[static_cast<std::size_t>(status)].wide; }

bool ToIndex(double value, std::uint32_t count, std::uint32_t* index) {
  // Truncation makes 0 of all above -1.
  if (!(value > -1.0 && value < count)) return false;
  *index = static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
  return true;
}

EvalStatus Evaluate(hx_expr::TExprTreeRecord* record, TEvaluation* result) {
  double value;
  std::uint32_t ordinal = 0;
  const EvalStatus status = Run(record->code, &value, &ordinal);
  if (status == EvalStatus::kOk) {
    record->lastGood = value;
    record->failing = false;
    *result = {value, false, record->mark};
    return status;
  }
  const std::uint32_t mark = status == EvalStatus::kIndexOutOfRange ? record->indexMarks[ordinal] : record->mark;
  *result = {record->lastGood, !record->failing || record->failedMark != mark, mark};
  record->failing = true;
  record->failedMark = mark;
  return status;
}

}  // namespace runtime
