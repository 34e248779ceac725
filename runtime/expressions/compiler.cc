#include "runtime/expressions/compiler.h"

#include <algorithm>
#include <bit>
#include <string>
#include <utility>

#include "runtime/expressions/machine.h"

namespace runtime {
namespace {

enum ELevel : std::uint8_t { kOrLevel, kAndLevel, kNotLevel, kComparisonLevel, kSumLevel, kProductLevel, kMinusLevel };

enum class EOperands : std::uint8_t { kNumbers, kBooleans, kAlike };

struct TOperator {
  std::string_view spelling;
  ELevel level;
  EOpcode opcode;
  EOperands operands;
  bool yieldsBoolean;
  std::uint64_t operand = 0;
};
constexpr TOperator kOperators[] = {
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

struct TConstant {
  std::string_view name;
  double value;
  bool isBoolean;
};
constexpr TConstant kConstants[] = {
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
constexpr TFunction kFunctions[] = {
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

std::string Quoted(std::string_view name) { return "'" + std::string(name.substr(0, kMaximumNameLength)) + "'"; }

// The operations of each element type, in the order of EType.
constexpr EOpcode kLoads[] = {EOpcode::kLoadReal, EOpcode::kLoadBoolean, EOpcode::kLoadInteger};
constexpr EOpcode kIndexedLoads[] = {EOpcode::kIndexReal, EOpcode::kIndexBoolean, EOpcode::kIndexInteger};

std::uint64_t AddressBits(const void* address) { return std::bit_cast<std::uintptr_t>(address); }

// One expression on its way to a program. Recursion is bounded by
// kMaximumNesting; rows of operators of one kind are read in loops.
class CCompiler {
 public:
  struct TOperand {
    bool isBoolean;
    std::uint32_t offset;
  };

  CCompiler(CLexer& text, const CDataElements& data, const double* timeAddress, TNoiseDraws* draws)
      : lexer(text), elements(data), time(timeAddress), noise(draws) {}

  TOperand CompileWhole(bool isBoolean) {
    const TOperand whole = Compile(kOrLevel);
    Require(whole, isBoolean);
    Emit(EOpcode::kReturn, 0, -1);
    return whole;
  }

  std::vector<std::uint64_t> code;
  std::vector<std::uint32_t> indexMarks;
  bool isConstant = true;

 private:
  TOperand Compile(ELevel level) {
    switch (level) {
      case kNotLevel:
        return CompilePrefix("not", true, EOpcode::kNot);
      case kMinusLevel:
        return CompilePrefix("-", false, EOpcode::kNegate);
      default:
        return CompileBinary(level);
    }
  }

  TOperand CompileNext(ELevel level) {
    return level == kMinusLevel ? CompilePower() : Compile(static_cast<ELevel>(level + 1));
  }

  // A row of equal prefixes: two of them cancel.
  TOperand CompilePrefix(std::string_view spelling, bool isBoolean, EOpcode opcode) {
    const std::uint32_t offset = lexer.Peek().offset;
    std::size_t count = 0;
    while (lexer.TakeIf(spelling)) ++count;
    TOperand operand = CompileNext(isBoolean ? kNotLevel : kMinusLevel);
    if (count == 0) return operand;
    Require(operand, isBoolean);
    if (count % 2 == 1) Emit(opcode, 0, 0);
    operand.offset = offset;
    return operand;
  }

  const TOperator* FindOperator(ELevel level) {
    const TLexeme& next = lexer.Peek();
    for (const TOperator& row : kOperators) {
      if (row.level == level && next.Is(row.spelling)) return &row;
    }
    return nullptr;
  }

  TOperand CompileBinary(ELevel level) {
    TOperand left = CompileNext(level);
    std::vector<std::size_t> jumps;
    while (const TOperator* row = FindOperator(level)) {
      if (row->operands != EOperands::kAlike) Require(left, row->operands == EOperands::kBooleans);
      lexer.Skip();
      const bool isLazy = level == kOrLevel || level == kAndLevel;
      if (isLazy) {
        jumps.push_back(code.size());
        Emit(row->opcode, 0, -1);
      }
      const TOperand right = CompileNext(level);
      Require(right, left.isBoolean);
      if (!isLazy) Emit(row->opcode, row->operand, -1);
      left.isBoolean = row->yieldsBoolean;
    }
    for (const std::size_t jump : jumps) PatchJump(jump);
    return left;
  }

  // a ^ b ^ c is a ^ (b ^ c), and a minus before b belongs to all that follows.
  TOperand CompilePower() {
    TOperand base = CompilePrimary();
    std::vector<bool> negated;
    bool isNumber = false;
    TOperand last = base;
    while (lexer.Peek().Is("^")) {
      Require(last, false);
      lexer.Skip();
      bool isNegated = false;
      while (lexer.TakeIf("-")) isNegated = !isNegated;
      negated.push_back(isNegated);
      last = CompilePrimary();
      isNumber = true;
    }
    if (isNumber) Require(last, false);
    for (std::size_t i = negated.size(); i-- > 0;) {
      if (negated[i]) Emit(EOpcode::kNegate, 0, 0);
      Emit(EOpcode::kCall2, static_cast<std::uint64_t>(EFunction2::kPower), -1);
    }
    return base;
  }

  TOperand CompilePrimary() {
    const std::uint32_t offset = lexer.Peek().offset;
    if (lexer.Peek().kind == ELexeme::kNumber) {
      EmitConstant(lexer.Peek().number);
      lexer.Skip();
      return {false, offset};
    }
    if (lexer.TakeIf("(")) {
      const TOperand inner = CompileNested(offset);
      lexer.Expect(")");
      return {inner.isBoolean, offset};
    }
    if (lexer.Peek().kind != ELexeme::kIdentifier) lexer.FailExpected("a value");
    return {CompileName(lexer.Peek().text, offset), offset};
  }

  TOperand CompileNested(std::uint32_t offset) {
    if (++nesting > kMaximumNesting) FailTooDeep(offset);
    const TOperand inner = Compile(kOrLevel);
    --nesting;
    return inner;
  }

  // Yields whether the value is a boolean.
  bool CompileName(std::string_view name, std::uint32_t offset) {
    const std::int32_t element = elements.Find(name);
    if (element >= 0) return CompileElement(elements[element], offset);
    for (const TConstant& row : kConstants) {
      if (row.name != name) continue;
      lexer.Skip();
      EmitConstant(row.value);
      return row.isBoolean;
    }
    if (name == "time") {
      lexer.Skip();
      EmitLoad(EOpcode::kLoadReal, time);
      return false;
    }
    for (const TFunction& row : kFunctions) {
      if (row.name == name) return CompileFunction(row, offset);
    }
    if (name == "limit") return CompileLimit(offset);
    if (name == "if") return CompileIf(offset);
    if (name == "noise") return CompileNoise(offset);
    if (name == "delay")
      throw TTextError{offset, "'delay' must be the whole right side of an algebraic line of a process"};
    if (IsReservedName(name)) lexer.FailExpected("a value");
    throw TTextError{offset, "unknown name " + Quoted(name)};
  }

  bool CompileElement(const TDataElement& element, std::uint32_t offset) {
    const auto type = static_cast<std::size_t>(element.type);
    const bool isBoolean = element.type == EType::kBoolean;
    lexer.Skip();
    const bool isIndexed = lexer.Peek().Is("[");
    if (isIndexed != element.isArray) {
      throw TTextError{
          offset, Quoted(element.name) + (element.isArray ? " is an array and needs an index" : " is not an array")};
    }
    if (!isIndexed) {
      EmitLoad(kLoads[type], element.values);
      return isBoolean;
    }
    lexer.Skip();
    const TOperand index = CompileNested(lexer.Peek().offset);
    Require(index, false);
    lexer.Expect("]");
    const std::uint64_t ordinal = indexMarks.size();
    indexMarks.push_back(index.offset);
    Emit(kIndexedLoads[type], element.count | ordinal << 24, 0);
    EmitWord(AddressBits(element.values));
    isConstant = false;
    return isBoolean;
  }

  bool CompileFunction(const TFunction& row, std::uint32_t offset) {
    const auto fail = [&] {
      const std::string count = row.most == 0 ? "at least " + std::to_string(row.least) : std::to_string(row.least);
      throw TTextError{offset, Quoted(row.name) + " takes " + count + (row.least == 1 ? " argument" : " arguments")};
    };
    lexer.Skip();
    lexer.Expect("(");
    if (lexer.Peek().Is(")")) fail();
    int count = 0;
    do {
      if (row.most != 0 && count == row.most) fail();
      Require(CompileNested(offset), false);
      ++count;
      // A function of two is applied as its arguments come.
      if (row.opcode != EOpcode::kCall1 && count > 1) Emit(row.opcode, row.operand, -1);
    } while (lexer.TakeIf(","));
    if (count < row.least && lexer.Peek().Is(")")) fail();
    lexer.Expect(")");
    if (row.opcode == EOpcode::kCall1) Emit(row.opcode, row.operand, 0);
    return false;
  }

  // Takes a comma where an argument must follow, and the end where none may.
  void Separate(std::string_view name, int taken, int count, std::uint32_t offset) {
    const std::string_view wanted = taken < count ? "," : ")";
    const std::string_view other = taken < count ? ")" : ",";
    if (lexer.Peek().Is(other)) {
      throw TTextError{offset,
                       Quoted(name) + " takes " + std::to_string(count) + (count == 1 ? " argument" : " arguments")};
    }
    lexer.Expect(wanted);
  }

  void Open(std::string_view name, int count, std::uint32_t offset) {
    lexer.Skip();
    lexer.Expect("(");
    if (lexer.Peek().Is(")")) Separate(name, 0, count, offset);
  }

  // min(max(x, low), high)
  bool CompileLimit(std::uint32_t offset) {
    constexpr int kCount = 3;
    Open("limit", kCount, offset);
    for (int i = 1; i <= kCount; ++i) {
      Require(CompileNested(offset), false);
      if (i > 1) Emit(i == 2 ? EOpcode::kMaximum : EOpcode::kMinimum, 0, -1);
      Separate("limit", i, kCount, offset);
    }
    return false;
  }

  bool CompileIf(std::uint32_t offset) {
    constexpr int kCount = 3;
    Open("if", kCount, offset);
    Require(CompileNested(offset), true);
    Separate("if", 1, kCount, offset);
    const std::size_t toSecond = code.size();
    Emit(EOpcode::kJumpIfFalse, 0, -1);
    const TOperand first = CompileNested(offset);
    Separate("if", 2, kCount, offset);
    const std::size_t toEnd = code.size();
    Emit(EOpcode::kJump, 0, -1);  // the other branch starts without the first one's value
    PatchJump(toSecond);
    Require(CompileNested(offset), first.isBoolean);
    Separate("if", 3, kCount, offset);
    PatchJump(toEnd);
    return first.isBoolean;
  }

  bool CompileNoise(std::uint32_t offset) {
    if (noise == nullptr) throw TTextError{offset, "'noise' belongs into a process"};
    Open("noise", 1, offset);
    Require(CompileNested(offset), false);
    Separate("noise", 1, 1, offset);
    noise->push_back(0);
    EmitLoad(EOpcode::kLoadReal, &noise->back());
    Emit(EOpcode::kMultiply, 0, -1);
    return false;
  }

  static void Require(const TOperand& operand, bool isBoolean) {
    if (operand.isBoolean == isBoolean) return;
    throw TTextError{operand.offset,
                     isBoolean ? "expected a boolean, found a number" : "expected a number, found a boolean"};
  }

  void EmitWord(std::uint64_t word) {
    if (code.size() >= kMaximumProgramLength) throw TTextError{lexer.Peek().offset, "expression too long"};
    code.push_back(word);
  }

  void Emit(EOpcode opcode, std::uint64_t operand, int stackChange) {
    if (rightOperand != kNone && IsBinary(opcode)) {
      // The operation takes its right number from where it would be loaded from.
      const bool isReal = static_cast<EOpcode>(code[rightOperand] & 0xFF) == EOpcode::kLoadReal;
      const EOpcode fused = isReal ? OfReal(opcode) : OfConstant(opcode);
      code[rightOperand] = (code[rightOperand] & ~std::uint64_t{0xFF}) | static_cast<std::uint64_t>(fused);
    } else {
      EmitWord(static_cast<std::uint64_t>(opcode) | operand << 8);
    }
    rightOperand = kNone;
    depth += stackChange;
    if (depth > static_cast<int>(kStackDepth)) FailTooDeep(lexer.Peek().offset);
  }

  void EmitConstant(double value) {
    const std::size_t start = code.size();
    Emit(EOpcode::kConstant, 0, 1);
    EmitWord(std::bit_cast<std::uint64_t>(value));
    rightOperand = start;
  }

  void EmitLoad(EOpcode opcode, const void* address) {
    const std::size_t start = code.size();
    Emit(opcode, AddressBits(address), 1);
    if (opcode == EOpcode::kLoadReal) rightOperand = start;
    isConstant = false;
  }

  void PatchJump(std::size_t jump) {
    code[jump] |= static_cast<std::uint64_t>(code.size() - jump) << 8;
    rightOperand = kNone;  // what comes next may have come by the jump
  }

  [[noreturn]] static void FailTooDeep(std::uint32_t offset) {
    throw TTextError{offset, "expression nested too deeply"};
  }

  CLexer& lexer;
  const CDataElements& elements;
  const double* time;
  TNoiseDraws* noise;
  int nesting = 0;
  int depth = 0;  // of the stack, where the program stands
  // Where the load of a real or a constant starts that is the last operation so
  // far, however the program came here.
  static constexpr std::size_t kNone = ~std::size_t{0};
  std::size_t rightOperand = kNone;
};

// Fowler, Noll and Vo's hash, a word at a time, mixed after each.
std::uint32_t HashOf(const std::vector<std::uint64_t>& program) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const std::uint64_t word : program) {
    hash = (hash ^ word) * 0x100000001B3u;
    hash ^= hash >> 32;
  }
  return static_cast<std::uint32_t>(hash);
}

}  // namespace

const std::uint64_t* CExpressions::Shared(const std::vector<std::uint64_t>& code) {
  const std::uint32_t hash = HashOf(code);
  const std::int32_t found = byWords.Find(hash, [&](std::int32_t program) {
    const TProgram& known = programs[static_cast<std::size_t>(program)];
    return std::equal(known.begin(), known.end(), code.begin(), code.end());
  });
  if (found != COpenIndex::kNone) return programs[static_cast<std::size_t>(found)].data();
  if (wordsLeft < code.size()) {
    wordsLeft = std::max(code.size(), kChunkWords);
    chunks.push_back(std::make_unique<std::uint64_t[]>(wordsLeft));
    nextWord = chunks.back().get();
  }
  const TProgram kept(nextWord, code.size());
  std::copy(code.begin(), code.end(), nextWord);
  nextWord += code.size();
  wordsLeft -= code.size();
  programs.push_back(kept);
  byWords.Add(hash, static_cast<std::int32_t>(programs.size() - 1));
  return kept.data();
}

TExpression CExpressions::Compile(CLexer& lexer, const CDataElements& elements, EType wanted, TNoiseDraws* noise) {
  CCompiler compiler(lexer, elements, &time, noise);
  const CCompiler::TOperand whole = compiler.CompileWhole(wanted == EType::kBoolean);
  if (released.empty()) released.push_back(&records.emplace_back());
  TExpression record(released.back(), TReleaser{this});
  released.pop_back();
  record->mark = whole.offset & 0x7FFFFFFF;
  record->isConstant = compiler.isConstant;
  if (!compiler.indexMarks.empty()) {
    record->indexMarks = std::make_unique<std::uint32_t[]>(compiler.indexMarks.size());
    std::copy(compiler.indexMarks.begin(), compiler.indexMarks.end(), record->indexMarks.get());
  }
  record->code = Shared(compiler.code);
  return record;
}

void CExpressions::Release(hx_expr::TExprTreeRecord* record) {
  *record = {};
  released.push_back(record);
}

}  // namespace runtime
