// The stack machine that runs expressions.
//
// A program is a row of 8-byte words, each an operation: the opcode in the low
// byte, its operand in the 56 bits above. Booleans are the numbers 0 and 1.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_MACHINE_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_MACHINE_H

#include <bit>
#include <cstdint>
#include <string_view>

#include "runtime/expressions/expression.h"

namespace runtime {

constexpr std::uint32_t kStackDepth = 1024;  // numbers

enum class EOpcode : std::uint8_t {
  kReturn,
  kConstant,      // the next word holds a double
  kLoadReal,      // operand: address
  kLoadBoolean,   // operand: address
  kLoadInteger,   // operand: address
  kIndexReal,     // operand: count (24 bits), ordinal of the index (32 bits); the
  kIndexBoolean,  // next word holds the address of the first value; the index is
  kIndexInteger,  // taken from the stack
  kNegate,
  kNot,
  // Of two numbers on the stack. Each stands for two more operations, in the
  // same order behind the last: one whose right number is a real (operand:
  // address), and one whose right number is the next word.
  kAdd,
  kSubtract,
  kMultiply,
  kDivide,
  kEqual,
  kNotEqual,
  kLess,
  kLessOrEqual,
  kGreater,
  kGreaterOrEqual,
  kMinimum,  // NaN when either is
  kMaximum,
  kFirstOfReal,
  kFirstOfConstant = kFirstOfReal + (kFirstOfReal - kAdd),
  kLastOfConstant = kFirstOfConstant + (kFirstOfReal - kAdd) - 1,
  kCall1,  // operand: EFunction1
  kCall2,  // operand: EFunction2
  // Jumps; the operand is the number of words from the jump to its target.
  kJump,
  kJumpIfFalse,  // takes the condition
  kAnd,          // false: jumps and leaves it; true: takes it
  kOr,           // true: jumps and leaves it; false: takes it
};

constexpr bool IsBinary(EOpcode opcode) { return opcode >= EOpcode::kAdd && opcode <= EOpcode::kMaximum; }
constexpr EOpcode Moved(EOpcode opcode, EOpcode first) {
  return static_cast<EOpcode>(static_cast<int>(opcode) - static_cast<int>(EOpcode::kAdd) + static_cast<int>(first));
}
constexpr EOpcode OfReal(EOpcode opcode) { return Moved(opcode, EOpcode::kFirstOfReal); }
constexpr EOpcode OfConstant(EOpcode opcode) { return Moved(opcode, EOpcode::kFirstOfConstant); }

enum class EFunction1 : std::uint8_t {
  kSin,
  kCos,
  kTan,
  kAsin,
  kAcos,
  kAtan,
  kExp,
  kLn,
  kLog10,
  kSqrt,
  kAbs,
  kSign,
  kFloor,
  kCeil,
  kRound,
};
enum class EFunction2 : std::uint8_t { kPower, kRemainder, kAtan2 };

enum class EEvalStatus : std::uint8_t { kOk, kIndexOutOfRange, kNotFinite };

// The host's message; empty for kOk.
std::string_view EvalMessage(EEvalStatus status);
std::u16string_view EvalMessage16(EEvalStatus status);

struct TEvaluation {
  double value;  // on failure the last good one
  EEvalStatus status = EEvalStatus::kOk;
  bool newError = false;   // the failure is to be reported: it began with this evaluation
  std::uint32_t mark = 0;  // on failure its place: that of the index, or the start of the expression
};

// Where a program stopped, and where the number below the top of its stack is
// put next.
struct TStop {
  hx_expr::TExprTreeRecord* record;
  const std::uint64_t* code;
  double* next;
};

// What the top of the stack is where a program came to its end, or stopped.
struct TRun {
  double top;
  TStop* stop;  // null: it ended, with a finite number, which is the last good one now
};

// Runs operations of the record's program from one on. Stops, and says so in
// *stop, at a function, at an index out of range, and at the end when the number
// is not finite or the evaluation before failed.
TRun Execute(const std::uint64_t* code, double* next, hx_expr::TExprTreeRecord* record, TStop* stop, double top);

// The rest of an evaluation that stopped.
TEvaluation Finish(TRun run);

// Runs the program and keeps the record's last good value and its latch: a
// failure is new when the evaluation before succeeded or failed elsewhere. What
// a run that stopped is worth, `rest` says: Finish or what calls it.
template <typename TResult = TEvaluation, typename TRest>
[[gnu::always_inline]] inline TResult Evaluate(hx_expr::TExprTreeRecord* record, TRest rest) {
  double stack[kStackDepth + 1];  // what the first one holds means nothing
  TStop stop;
  const TRun run = Execute(record->code, stack, record, &stop, 0.0);
  if (run.stop != nullptr) [[unlikely]]
    return rest(run);
  return {run.top};
}
[[gnu::always_inline]] inline TEvaluation Evaluate(hx_expr::TExprTreeRecord* record) {
  return Evaluate(record, Finish);
}

// Where the value of an expression that is a boolean element's name alone stands.
inline const std::uint8_t* BooleanElementOf(const hx_expr::TExprTreeRecord* record) {
  return std::bit_cast<const std::uint8_t*>(static_cast<std::uintptr_t>(*record->code >> 8));
}

// The index that a number means, truncated toward zero. False when it is
// outside 0 … count - 1, or NaN.
bool ToIndex(double value, std::uint32_t count, std::uint32_t* index);

}  // namespace runtime

#endif
