// The words and signs of expressions.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_VOCABULARY_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_VOCABULARY_H

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/expressions/data_elements.h"
#include "runtime/expressions/machine.h"

namespace runtime {

enum ELevel : std::uint8_t { kOrLevel, kAndLevel, kNotLevel, kComparisonLevel, kSumLevel, kProductLevel, kMinusLevel };

enum class EOperands : std::uint8_t { kNumbers, kBooleans, kAlike };

// Binary ones that group to the left; the prefixes and `^` are the compiler's.
struct TOperator {
  std::string_view spelling;
  ELevel level;
  EOpcode opcode;
  EOperands operands;
  bool yieldsBoolean;
  std::uint64_t operand = 0;
};
inline constexpr TOperator kOperators[] = {
    {"or", kOrLevel, EOpcode::kOr, EOperands::kBooleans, true},
    {"and", kAndLevel, EOpcode::kAnd, EOperands::kBooleans, true},
    {"==", kComparisonLevel, EOpcode::kEqual, EOperands::kAlike, true},
    {"!=", kComparisonLevel, EOpcode::kNotEqual, EOperands::kAlike, true},
    {"<", kComparisonLevel, EOpcode::kLess, EOperands::kNumbers, true},
    {"<=", kComparisonLevel, EOpcode::kLessOrEqual, EOperands::kNumbers, true},
    {">", kComparisonLevel, EOpcode::kGreater, EOperands::kNumbers, true},
    {">=", kComparisonLevel, EOpcode::kGreaterOrEqual, EOperands::kNumbers, true},
    {"+", kSumLevel, EOpcode::kAdd, EOperands::kNumbers, false},
    {"-", kSumLevel, EOpcode::kSubtract, EOperands::kNumbers, false},
    {"*", kProductLevel, EOpcode::kMultiply, EOperands::kNumbers, false},
    {"/", kProductLevel, EOpcode::kDivide, EOperands::kNumbers, false},
    {"%", kProductLevel, EOpcode::kCall2, EOperands::kNumbers, false,
     static_cast<std::uint64_t>(EFunction2::kRemainder)},
};
inline constexpr std::string_view kNotSpelling = "not";

struct TConstant {
  std::string_view name;
  double value;
  bool isBoolean;
};
inline constexpr TConstant kConstants[] = {
    {"true", 1, true},
    {"false", 0, true},
    {"pi", 3.14159265358979323846, false},
};

// Functions of numbers that one operation computes.
struct TFunction {
  std::string_view name;
  EOpcode opcode;
  std::uint64_t operand;
  int least;  // arguments
  int most;   // 0: any number
};
constexpr TFunction Function1(std::string_view name, EFunction1 function) {
  return {name, EOpcode::kCall1, static_cast<std::uint64_t>(function), 1, 1};
}
inline constexpr TFunction kFunctions[] = {
    Function1("sin", EFunction1::kSin),
    Function1("cos", EFunction1::kCos),
    Function1("tan", EFunction1::kTan),
    Function1("asin", EFunction1::kAsin),
    Function1("acos", EFunction1::kAcos),
    Function1("atan", EFunction1::kAtan),
    Function1("exp", EFunction1::kExp),
    Function1("ln", EFunction1::kLn),
    Function1("log10", EFunction1::kLog10),
    Function1("sqrt", EFunction1::kSqrt),
    Function1("abs", EFunction1::kAbs),
    Function1("sign", EFunction1::kSign),
    Function1("floor", EFunction1::kFloor),
    Function1("ceil", EFunction1::kCeil),
    Function1("round", EFunction1::kRound),
    {"atan2", EOpcode::kCall2, static_cast<std::uint64_t>(EFunction2::kAtan2), 2, 2},
    {"min", EOpcode::kMinimum, 0, 2, 0},
    {"max", EOpcode::kMaximum, 0, 2, 0},
};

// Words with a form of their own.
enum class EForm : std::uint8_t { kTime, kLimit, kIf, kNoise, kDelay };
struct TForm {
  std::string_view name;
  EForm form;
  int arguments = 0;
};
inline constexpr TForm kForms[] = {
    {"time", EForm::kTime},      {"limit", EForm::kLimit, 3}, {"if", EForm::kIf, 3},
    {"noise", EForm::kNoise, 1}, {"delay", EForm::kDelay},  // of a process; none within an expression
};

// What an expression may ask of a data element. These are functions before "(" alone:
// an element may bear their names.
inline constexpr std::string_view kGoodName = "good";  // boolean
inline constexpr std::string_view kAgeName = "age";    // seconds

// What stands at the start of a block or in a block's place.
inline constexpr std::string_view kBlockKeywords[] = {"application", "constants", "data", "process",
                                                      "instrument",  "script",    "for",  "include"};
// Those of blocks that rooms beside the runtime read, if they are there.
inline constexpr std::string_view kBlocksOfOthers[] = {"connections", "panel", "study"};
bool IsBlockKeyword(std::string_view name);  // of either kind

// What a person may have meant by an unknown name in an expression, for the end of
// a message: "; did you mean 'x'?", or nothing.
std::string MeantBy(std::string_view name, const CDataElements& elements, const TNamedNumbers* numbers);

// Words that expressions and blocks use and no element may be named by.
bool IsReservedName(std::string_view name);

}  // namespace runtime

#endif
