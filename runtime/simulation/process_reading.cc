// Reading of process blocks.
#include <algorithm>
#include <utility>

#include "runtime/expressions/machine.h"
#include "runtime/simulation/process.h"

namespace runtime {

void CProcess::DeclareIntermediates(CLexer& lexer) {
  for (;;) {
    const TLexeme name = lexer.Next();
    if (name.kind == ELexeme::kEnd || name.Is("end_process")) return;
    if (name.kind == ELexeme::kIdentifier && !name.Is("substeps") && lexer.Peek().Is("=") &&
        elements.Find(name.text) < 0) {
      elements.Declare(name.text, EType::kReal, 0, "", name.offset);
    }
    while (lexer.Peek().kind != ELexeme::kEnd && !lexer.TakeIf(";")) lexer.Skip();
  }
}

void CProcess::ReadProcessBlock(CLexer& lexer) {
  while (!lexer.TakeIf("end_process")) ReadLine(lexer);
  lexer.Expect(";");
}

void CProcess::ReadLine(CLexer& lexer) {
  if (lexer.Peek().Is("substeps")) {
    ReadSubsteps(lexer);
  } else {
    const TTarget target = ReadTarget(lexer);
    if (lexer.TakeIf("'")) {
      ReadDerivative(lexer, target);
    } else {
      ReadAlgebraic(lexer, target);
    }
    elements.SetWrittenByProcess(target.element);
  }
  lexer.Expect(";");
}

void CProcess::ReadSubsteps(CLexer& lexer) {
  lexer.Skip();
  if (substepsGiven) throw TTextError{lexer.LastOffset(), "'substeps' is given twice"};
  substepsGiven = true;
  lexer.Expect("=");
  substeps = static_cast<std::uint32_t>(lexer.ExpectInteger(1, kMaximumSubsteps));
}

CProcess::TTarget CProcess::ReadTarget(CLexer& lexer) {
  const TLexeme name = lexer.ExpectIdentifier("a data element or 'end_process'");
  TTarget target{elements.Find(name.text), 0, name.offset};
  if (target.element < 0)
    throw TTextError{name.offset, "unknown data element " + Describe(name) + elements.MeantBy(name.text)};
  const TDataElement& element = elements[target.element];
  if (lexer.Peek().Is("[") != element.isArray) {
    throw TTextError{name.offset,
                     Describe(name) + (element.isArray ? " is an array and needs an index" : " is not an array")};
  }
  if (lexer.TakeIf("[")) {
    target.index = static_cast<std::uint32_t>(lexer.ExpectInteger(0, std::int64_t{element.count} - 1));
    lexer.Expect("]");
  }
  if (!targets.emplace(target.element, target.index).second) {
    throw TTextError{name.offset, Describe(name) + " is computed twice"};
  }
  return target;
}

void CProcess::ReadAlgebraic(CLexer& lexer, const TTarget& target) {
  const TDataElement& element = elements[target.element];
  if (element.type == EType::kInteger) {
    throw TTextError{target.mark, "'" + element.name + "' is an integer; a process computes reals and booleans"};
  }
  lexer.Expect("=");
  const std::uint32_t begin = lexer.Offset();
  TAlgebraic line;
  line.type = element.type;
  line.target = static_cast<std::byte*>(element.values) + target.index * TypeSize(element.type);
  if (lexer.TakeIf("delay")) {
    lexer.Expect("(");
    line.formula = ReadFormula(lexer, element.type);
    lexer.Expect(",");
    line.seconds = ReadFormula(lexer, EType::kReal);
    lexer.Expect(")");
    if (!lexer.Peek().Is(";")) lexer.FailExpected("';', since 'delay' is the whole right side of its line");
  } else {
    line.formula = ReadFormula(lexer, element.type);
  }
  algebraic.push_back(std::move(line));
  written.push_back({target, begin, lexer.Offset()});
}

// Whether the name stands on its own line's right side; of an array's item with its
// index.
bool CProcess::ReadsItself(CLexer& lexer, const TWrittenLine& line) const {
  const TDataElement& element = elements[line.target.element];
  lexer.Seek(line.begin);
  while (lexer.Offset() < line.end) {
    if (!lexer.Next().Is(element.name)) continue;
    if (!element.isArray) return true;
    lexer.Expect("[");
    const TLexeme index = lexer.Next();
    if (index.isInteger && index.integer == line.target.index && lexer.Peek().Is("]")) return true;
  }
  return false;
}

std::vector<TTextError> CProcess::Doubts(CLexer& lexer) const {
  std::vector<TTextError> doubts;
  for (std::size_t i = 0; i < algebraic.size(); ++i) {
    hx_expr::TExprTreeRecord* const seconds = algebraic[i].seconds.expression.get();
    if (seconds == nullptr && ReadsItself(lexer, written[i])) {
      doubts.push_back({written[i].target.mark,
                        "this line reads what it computes: it goes on from itself each time that it is evaluated, four "
                        "times a substep and once more in a period"});
    }
    if (seconds != nullptr && Evaluate(seconds).value < 0) {
      doubts.push_back({seconds->mark, "a delay of a negative time is none"});
    }
  }
  return doubts;
}

bool CProcess::Computes(const void* value) const {
  return std::any_of(algebraic.begin(), algebraic.end(),
                     [value](const TAlgebraic& line) { return line.target == value; });
}

void CProcess::ReadDerivative(CLexer& lexer, const TTarget& target) {
  const TDataElement& element = elements[target.element];
  if (element.type != EType::kReal) {
    throw TTextError{target.mark, "'" + element.name + "' is no real, and nothing else has a derivative"};
  }
  lexer.Expect("=");
  TDerivative line;
  line.target = element.Reals() + target.index;
  line.formula = ReadFormula(lexer, EType::kReal);
  derivatives.push_back(std::move(line));
}

CProcess::TFormula CProcess::ReadFormula(CLexer& lexer, EType type) {
  TFormula formula;
  formula.expression = expressions.Compile(lexer, elements, type, &noise);
  return formula;
}

}  // namespace runtime
