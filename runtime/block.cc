#include "runtime/block.h"

#include <algorithm>

#include "runtime/block_state.h"
#include "runtime/expressions/machine.h"
#include "runtime/runtime.h"
#include "runtime/text/near_names.h"

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

std::string CBlockText::ExpectOneOf(const std::vector<std::string_view>& words) {
  const TLexeme& next = state.lexer.Peek();
  const bool isName = !IsAtEnd() && next.kind == ELexeme::kIdentifier;
  if (isName && std::find(words.begin(), words.end(), next.text) != words.end()) {
    return std::string(state.lexer.Next().text);
  }
  CNearNames near(isName ? next.text : "");
  std::string all;
  for (std::size_t i = 0; i < words.size(); ++i) {
    near.Offer(words[i]);
    all.append(i == 0 ? "" : i + 1 == words.size() ? " or " : ", ").append(words[i]);
  }
  Fail(next.offset, "expected " + all + ", found " + Describe(next) + near.Question());
}

std::string CBlockText::MeantBy(std::string_view word, const std::vector<std::string>& names) {
  CNearNames near(word);
  for (const std::string& name : names) near.Offer(name);
  return near.Question();
}

const CApplication& CBlockText::Application() const { return *state.application.face; }

std::int64_t CBlockText::ExpectInteger(std::int64_t low, std::int64_t high) {
  return state.lexer.ExpectInteger(low, high);
}

std::string CBlockText::ExpectText() { return state.lexer.ExpectString(); }
double CBlockText::ExpectNumber() { return state.lexer.ExpectReal(); }
bool CBlockText::ExpectBoolean() { return state.lexer.ExpectBoolean(); }

TItem CBlockText::ExpectItem() {
  const std::string base = ExpectName("the name of a data element");
  const std::uint32_t place = LastOffset();
  std::string name = base;
  if (TakeIf("[")) {
    name += "[" + std::to_string(state.lexer.ExpectInteger(0, kMaximumArrayCount)) + "]";
    state.lexer.Expect("]");
  }
  std::int32_t element = 0;
  std::uint32_t index = 0;
  const TApplicationState& application = state.application;
  std::string error;
  if (!application.data.FindItem(name, application.declaredCount, &element, &index, &error)) {
    CNearNames near(base);
    const bool isKnown = application.data.Find(base) >= 0;
    for (std::int32_t i = 0; i < application.declaredCount && !isKnown; ++i) near.Offer(application.data[i].name);
    Fail(place, name + ": " + error + near.Question());
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
