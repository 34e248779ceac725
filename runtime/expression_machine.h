// The stack machine that runs expressions.
//
// A program is a row of 8-byte words, each an operation: the opcode in the low
// byte, its operand in the 56 bits above. Booleans are the numbers 0 and 1.
#ifndef LOOPBOX_RUNTIME_EXPRESSION_MACHINE_H
#define LOOPBOX_RUNTIME_EXPRESSION_MACHINE_H

#include <cstdint>
#include <string_view>

#include "runtime/expression.h"

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

// The functions that expressions offer, for what needs the same bits.
double Call(EFunction1 function, double x);
double Call(EFunction2 function, double x, double y);

enum class EvalStatus : std::uint8_t { kOk, kIndexOutOfRange, kNotFinite };

// The host's message; empty for kOk.
std::string_view EvalMessage(EvalStatus status);
std::u16string_view EvalMessage16(EvalStatus status);

struct TEvaluation {
  double value;        // on failure the last good one
  bool newError;       // the failure is to be reported: it began with this evaluation
  std::uint32_t mark;  // on failure its place: that of the index, or the start of the expression
};

// Runs the program and keeps the record's last good value and its latch: a
// failure is new when the evaluation before succeeded or failed elsewhere.
EvalStatus Evaluate(hx_expr::TExprTreeRecord* record, TEvaluation* result);

// The index that a number means, truncated toward zero. False when it is
// outside 0 … count - 1, or NaN.
bool ToIndex(double value, std::uint32_t count, std::uint32_t* index);

}  // namespace runtime

#endif
