#include "runtime/block.h"

#include "runtime/block_state.h"
#include "runtime/expressions/machine.h"
#include "runtime/runtime.h"

namespace runtime {

double CBlockExpression::Value() const { return Evaluate(expression).value; }

TBlockWord CBlockText::Peek() const {
  const TLexeme& next = state.lexer.Peek();
  if (next.offset >= state.end) return {TBlockWord::kEnd, std::string(next.text), next.offset};
  switch (next.kind) {
    case ELexeme::kIdentifier:
      return {TBlockWord::kName, std::string(next.text), next.offset};
    case ELexeme::kNumber:
      return {TBlockWord::kNumber, std::string(next.text), next.offset};
    case ELexeme::kString:
      return {TBlockWord::kText, next.string, next.offset};
    default:
      return {TBlockWord::kOther, std::string(next.text), next.offset};
  }
}

bool CBlockText::IsAtEnd() const { return state.lexer.Peek().offset >= state.end; }

bool CBlockText::TakeIf(std::string_view spelling) { return !IsAtEnd() && state.lexer.TakeIf(spelling); }

void CBlockText::Expect(std::string_view spelling) { state.lexer.Expect(spelling); }

std::string CBlockText::ExpectName(std::string_view what) {
  if (IsAtEnd()) state.lexer.FailExpected(what);
  return std::string(state.lexer.ExpectIdentifier(what).text);
}

std::string CBlockText::ExpectText() { return state.lexer.ExpectString(); }
double CBlockText::ExpectNumber() { return state.lexer.ExpectReal(); }
bool CBlockText::ExpectBoolean() { return state.lexer.ExpectBoolean(); }

TItem CBlockText::ExpectItem() {
  std::string name = ExpectName("the name of a data element");
  const std::uint32_t place = LastOffset();
  if (TakeIf("[")) {
    name += "[" + std::to_string(state.lexer.ExpectInteger(0, kMaximumArrayCount)) + "]";
    state.lexer.Expect("]");
  }
  std::int32_t element = 0;
  std::uint32_t index = 0;
  const TApplicationState& application = state.application;
  std::string error;
  if (!application.data.FindItem(name, application.declaredCount, &element, &index, &error)) {
    Fail(place, name + ": " + error);
  }
  return {static_cast<std::size_t>(element), index};
}

CBlockExpression CBlockText::ExpectExpression(bool isBoolean) {
  TApplicationState& application = state.application;
  const EType wanted = isBoolean ? EType::kBoolean : EType::kReal;
  return CBlockExpression(application.expressions.Compile(state.lexer, application.data, wanted).release());
}

std::uint32_t CBlockText::LastOffset() const { return state.lexer.LastOffset(); }

void CBlockText::Fail(std::uint32_t offset, const std::string& message) const { throw TTextError{offset, message}; }

void CBlockText::Warn(std::uint32_t offset, const std::string& message) const {
  state.application.Complain(TDiagnostic::kWarning, offset, message);
}

}  // namespace runtime
