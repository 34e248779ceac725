#include "runtime/expressions/compiler.h"

#include <algorithm>
#include <string>
#include <utility>

#include "runtime/expressions/machine.h"
#include "runtime/expressions/program_writer.h"
#include "runtime/expressions/vocabulary.h"

namespace runtime {
namespace {

std::string Quoted(std::string_view name) { return "'" + std::string(name.substr(0, kMaximumNameLength)) + "'"; }

// The operations of each element type, in the order of EType.
constexpr EOpcode kLoads[] = {EOpcode::kLoadReal, EOpcode::kLoadBoolean, EOpcode::kLoadInteger};
constexpr EOpcode kIndexedLoads[] = {EOpcode::kIndexReal, EOpcode::kIndexBoolean, EOpcode::kIndexInteger};

// One expression on its way to a program. Recursion is bounded by
// kMaximumNesting; rows of operators of one kind are read in loops.
class CCompiler {
 public:
  struct TOperand {
    bool isBoolean;
    std::uint32_t offset;
  };

  CCompiler(CLexer& text, const CDataElements& data, CExpressions& shared, TNoiseDraws* draws)
      : lexer(text), elements(data), expressions(shared), noise(draws), program(text) {}

  TOperand CompileWhole(bool isBoolean);
  const CProgramWriter& Program() const { return program; }

 private:
  TOperand Compile(ELevel level);
  TOperand CompileNext(ELevel level);
  TOperand CompilePrefix(std::string_view spelling, bool isBoolean, EOpcode opcode);
  TOperand CompileBinary(ELevel level);
  TOperand CompilePower();
  TOperand CompilePrimary();
  TOperand CompileNested(std::uint32_t offset);

  // These yield whether the value is a boolean.
  bool CompileName(std::string_view name, std::uint32_t offset);
  bool CompileElement(const TDataElement& element, std::uint32_t offset);
  bool CompileItem(const TDataElement& element, EType type, const void* values, std::uint32_t offset);
  bool CompileQuality(bool isAge);
  bool IsCall();
  bool CompileFunction(const TFunction& row, std::uint32_t offset);
  bool CompileForm(const TForm& form, std::uint32_t offset);
  bool CompileLimit(const TForm& form, std::uint32_t offset);
  bool CompileIf(const TForm& form, std::uint32_t offset);
  bool CompileNoise(const TForm& form, std::uint32_t offset);

  const TOperator* FindOperator(ELevel level);
  void Open(const TForm& form, std::uint32_t offset);
  void Separate(const TForm& form, int taken, std::uint32_t offset);
  static void Require(const TOperand& operand, bool isBoolean);

  CLexer& lexer;
  const CDataElements& elements;
  CExpressions& expressions;
  TNoiseDraws* noise;
  CProgramWriter program;
  int nesting = 0;
};

CCompiler::TOperand CCompiler::CompileWhole(bool isBoolean) {
  const TOperand whole = Compile(kOrLevel);
  Require(whole, isBoolean);
  program.Emit(EOpcode::kReturn, 0, -1);
  return whole;
}

CCompiler::TOperand CCompiler::Compile(ELevel level) {
  switch (level) {
    case kNotLevel:
      return CompilePrefix(kNotSpelling, true, EOpcode::kNot);
    case kMinusLevel:
      return CompilePrefix("-", false, EOpcode::kNegate);
    default:
      return CompileBinary(level);
  }
}

CCompiler::TOperand CCompiler::CompileNext(ELevel level) {
  return level == kMinusLevel ? CompilePower() : Compile(static_cast<ELevel>(level + 1));
}

// A row of equal prefixes: two of them cancel.
CCompiler::TOperand CCompiler::CompilePrefix(std::string_view spelling, bool isBoolean, EOpcode opcode) {
  const std::uint32_t offset = lexer.Peek().offset;
  std::size_t count = 0;
  while (lexer.TakeIf(spelling)) ++count;
  TOperand operand = CompileNext(isBoolean ? kNotLevel : kMinusLevel);
  if (count == 0) return operand;
  Require(operand, isBoolean);
  if (count % 2 == 1) program.Emit(opcode, 0, 0);
  operand.offset = offset;
  return operand;
}

const TOperator* CCompiler::FindOperator(ELevel level) {
  const TLexeme& next = lexer.Peek();
  for (const TOperator& row : kOperators) {
    if (row.level == level && next.Is(row.spelling)) return &row;
  }
  return nullptr;
}

CCompiler::TOperand CCompiler::CompileBinary(ELevel level) {
  TOperand left = CompileNext(level);
  std::vector<std::size_t> jumps;
  while (const TOperator* row = FindOperator(level)) {
    if (row->operands != EOperands::kAlike) Require(left, row->operands == EOperands::kBooleans);
    lexer.Skip();
    const bool isLazy = level == kOrLevel || level == kAndLevel;
    if (isLazy) jumps.push_back(program.EmitJump(row->opcode));
    const TOperand right = CompileNext(level);
    Require(right, left.isBoolean);
    if (!isLazy) program.Emit(row->opcode, row->operand, -1);
    left.isBoolean = row->yieldsBoolean;
  }
  for (const std::size_t jump : jumps) program.JumpsHere(jump);
  return left;
}

// a ^ b ^ c is a ^ (b ^ c), and a minus before b belongs to all that follows.
CCompiler::TOperand CCompiler::CompilePower() {
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
    if (negated[i]) program.Emit(EOpcode::kNegate, 0, 0);
    program.Emit(EOpcode::kCall2, static_cast<std::uint64_t>(EFunction2::kPower), -1);
  }
  return base;
}

CCompiler::TOperand CCompiler::CompilePrimary() {
  const std::uint32_t offset = lexer.Peek().offset;
  if (lexer.Peek().kind == ELexeme::kNumber) {
    program.EmitConstant(lexer.Peek().number);
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

CCompiler::TOperand CCompiler::CompileNested(std::uint32_t offset) {
  if (++nesting > kMaximumNesting) FailTooDeep(offset);
  const TOperand inner = Compile(kOrLevel);
  --nesting;
  return inner;
}

bool CCompiler::CompileName(std::string_view name, std::uint32_t offset) {
  if ((name == kGoodName || name == kAgeName) && IsCall()) return CompileQuality(name == kAgeName);
  const std::int32_t element = elements.Find(name);
  if (element >= 0) return CompileElement(elements[element], offset);
  if (const double* const number = lexer.Number(name)) {
    program.EmitConstant(*number);
    lexer.Skip();
    return false;
  }
  for (const TConstant& row : kConstants) {
    if (row.name != name) continue;
    lexer.Skip();
    program.EmitConstant(row.value);
    return row.isBoolean;
  }
  for (const TFunction& row : kFunctions) {
    if (row.name == name) return CompileFunction(row, offset);
  }
  for (const TForm& row : kForms) {
    if (row.name == name) return CompileForm(row, offset);
  }
  if (IsReservedName(name)) lexer.FailExpected("a value");
  throw TTextError{offset, "unknown name " + Quoted(name) + MeantBy(name, elements, lexer.Numbers())};
}

bool CCompiler::CompileElement(const TDataElement& element, std::uint32_t offset) {
  return CompileItem(element, element.type, element.values, offset);
}

// Whether the name ahead stands before "(".
bool CCompiler::IsCall() {
  const std::uint32_t begin = lexer.Offset();
  lexer.Skip();
  const bool isCall = lexer.Peek().Is("(");
  lexer.Seek(begin);
  return isCall;
}

bool CCompiler::CompileQuality(bool isAge) {
  lexer.Skip();
  lexer.Expect("(");
  const TLexeme& name = lexer.Peek();
  const std::int32_t number = name.kind == ELexeme::kIdentifier ? elements.Find(name.text) : -1;
  if (number < 0) lexer.FailExpected("the name of a data element");
  const TDataElement& element = elements[number];
  CQualities::TValues& values = expressions.Qualities().Of(element);
  const bool isBoolean = isAge ? CompileItem(element, EType::kReal, values.ages.data(), name.offset)
                               : CompileItem(element, EType::kBoolean, values.good.data(), name.offset);
  lexer.Expect(")");
  return isBoolean;
}

// What stands in `values` for the element's item that is named ahead.
bool CCompiler::CompileItem(const TDataElement& element, EType elementType, const void* values, std::uint32_t offset) {
  const auto type = static_cast<std::size_t>(elementType);
  const bool isBoolean = elementType == EType::kBoolean;
  lexer.Skip();
  const bool isIndexed = lexer.Peek().Is("[");
  if (isIndexed != element.isArray) {
    throw TTextError{offset,
                     Quoted(element.name) + (element.isArray ? " is an array and needs an index" : " is not an array")};
  }
  if (!isIndexed) {
    program.EmitLoad(kLoads[type], values);
    return isBoolean;
  }
  lexer.Skip();
  const TOperand index = CompileNested(lexer.Peek().offset);
  Require(index, false);
  lexer.Expect("]");
  program.EmitIndexedLoad(kIndexedLoads[type], values, element.count, index.offset);
  return isBoolean;
}

bool CCompiler::CompileFunction(const TFunction& row, std::uint32_t offset) {
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
    if (row.opcode != EOpcode::kCall1 && count > 1) program.Emit(row.opcode, row.operand, -1);
  } while (lexer.TakeIf(","));
  if (count < row.least && lexer.Peek().Is(")")) fail();
  lexer.Expect(")");
  if (row.opcode == EOpcode::kCall1) program.Emit(row.opcode, row.operand, 0);
  return false;
}

bool CCompiler::CompileForm(const TForm& form, std::uint32_t offset) {
  switch (form.form) {
    case EForm::kTime:
      lexer.Skip();
      program.EmitLoad(EOpcode::kLoadReal, &expressions.Time());
      return false;
    case EForm::kLimit:
      return CompileLimit(form, offset);
    case EForm::kIf:
      return CompileIf(form, offset);
    case EForm::kNoise:
      return CompileNoise(form, offset);
    case EForm::kDelay:
      break;
  }
  throw TTextError{offset, "'delay' must be the whole right side of an algebraic line of a process"};
}

void CCompiler::Open(const TForm& form, std::uint32_t offset) {
  lexer.Skip();
  lexer.Expect("(");
  if (lexer.Peek().Is(")")) Separate(form, 0, offset);
}

// Takes a comma where an argument must follow, and the end where none may.
void CCompiler::Separate(const TForm& form, int taken, std::uint32_t offset) {
  const std::string_view wanted = taken < form.arguments ? "," : ")";
  const std::string_view other = taken < form.arguments ? ")" : ",";
  if (lexer.Peek().Is(other)) {
    throw TTextError{offset, Quoted(form.name) + " takes " + std::to_string(form.arguments) +
                                 (form.arguments == 1 ? " argument" : " arguments")};
  }
  lexer.Expect(wanted);
}

// min(max(x, low), high)
bool CCompiler::CompileLimit(const TForm& form, std::uint32_t offset) {
  Open(form, offset);
  for (int i = 1; i <= form.arguments; ++i) {
    Require(CompileNested(offset), false);
    if (i > 1) program.Emit(i == 2 ? EOpcode::kMaximum : EOpcode::kMinimum, 0, -1);
    Separate(form, i, offset);
  }
  return false;
}

bool CCompiler::CompileIf(const TForm& form, std::uint32_t offset) {
  Open(form, offset);
  Require(CompileNested(offset), true);
  Separate(form, 1, offset);
  const std::size_t toSecond = program.EmitJump(EOpcode::kJumpIfFalse);
  const TOperand first = CompileNested(offset);
  Separate(form, 2, offset);
  // The other branch starts without the first one's value.
  const std::size_t toEnd = program.EmitJump(EOpcode::kJump);
  program.JumpsHere(toSecond);
  Require(CompileNested(offset), first.isBoolean);
  Separate(form, 3, offset);
  program.JumpsHere(toEnd);
  return first.isBoolean;
}

bool CCompiler::CompileNoise(const TForm& form, std::uint32_t offset) {
  if (noise == nullptr) throw TTextError{offset, "'noise' belongs into a process"};
  Open(form, offset);
  Require(CompileNested(offset), false);
  Separate(form, 1, offset);
  noise->push_back(0);
  program.EmitLoad(EOpcode::kLoadReal, &noise->back());
  program.Emit(EOpcode::kMultiply, 0, -1);
  return false;
}

void CCompiler::Require(const TOperand& operand, bool isBoolean) {
  if (operand.isBoolean == isBoolean) return;
  throw TTextError{operand.offset,
                   isBoolean ? "expected a boolean, found a number" : "expected a number, found a boolean"};
}

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
  CCompiler compiler(lexer, elements, *this, noise);
  const CCompiler::TOperand whole = compiler.CompileWhole(wanted == EType::kBoolean);
  const CProgramWriter& program = compiler.Program();
  if (released.empty()) released.push_back(&records.emplace_back());
  TExpression record(released.back(), TReleaser{this});
  released.pop_back();
  static_assert(kMaximumSourceSize < std::size_t{1} << 30);
  record->mark = whole.offset & 0x3FFFFFFF;
  record->isBooleanElement =
      program.Code().size() == 2 && program.Code()[0] % 256 == static_cast<std::uint64_t>(EOpcode::kLoadBoolean);
  record->isConstant = program.IsConstant();
  const std::vector<std::uint32_t>& marks = program.IndexMarks();
  if (!marks.empty()) {
    record->indexMarks = std::make_unique<std::uint32_t[]>(marks.size());
    std::copy(marks.begin(), marks.end(), record->indexMarks.get());
  }
  record->code = Shared(program.Code());
  return record;
}

std::vector<TRemembered> CExpressions::Remembered() const {
  std::vector<TRemembered> remembered;
  for (const hx_expr::TExprTreeRecord& record : records) remembered.push_back({record.lastGood, record.failedMark});
  return remembered;
}

void CExpressions::SetRemembered(const std::vector<TRemembered>& remembered) {
  for (std::size_t i = 0; i < remembered.size(); ++i) {
    records[i].lastGood = remembered[i].lastGood;
    records[i].failedMark = remembered[i].failedMark;
  }
}

void CExpressions::Release(hx_expr::TExprTreeRecord* record) {
  *record = {};
  released.push_back(record);
}

}  // namespace runtime
