// Expressions against the same compiled as C++.
#include <cmath>
#include <memory>
#include <string>

#include "bench/baseline.h"
#include "bench/rows.h"
#include "runtime/expressions/compiler.h"
#include "runtime/expressions/data_elements.h"
#include "runtime/expressions/machine.h"
#include "runtime/text/lexer.h"

namespace bench {

namespace {

constexpr std::size_t kItems = 4096;

struct TValues {
  double a, b, c, d;
  bool run;
};

// Declares the values' names and compiles a text over them.
struct TCompiled {
  explicit TCompiled(const std::string& text) {
    for (const char* name : {"a", "b", "c", "d"}) data.Declare(name, runtime::EType::kReal, 0, "", 0);
    data.Declare("run", runtime::EType::kBoolean, 0, "", 0);
    std::string error;
    runtime::CSource::FromBytes("bench", text, &source, &error);
    runtime::CLexer lexer(source);
    expression = expressions.Compile(lexer, data, runtime::EType::kReal);
  }
  runtime::CSource source;
  runtime::CDataElements data;
  runtime::CExpressions expressions;
  runtime::TExpression expression;
};

void Vary(std::size_t i, double* a, double* b) {
  *a = 1.0 + Varied(i);
  *b = 2.0 + Varied(i + 3);
}

TBatch Interpreted(const std::string& text) {
  auto compiled = std::make_shared<TCompiled>(text);
  double* const a = compiled->data[0].Reals();
  double* const b = compiled->data[1].Reals();
  *compiled->data[2].Reals() = 0.75;
  *compiled->data[3].Reals() = 1.25;
  *compiled->data[4].Booleans() = 1;
  return {[compiled, a, b] {
            double sum = 0.0;
            for (std::size_t i = 0; i < kItems; ++i) {
              Vary(i, a, b);
              sum += runtime::Evaluate(compiled->expression.get()).value;
            }
            Keep(sum);
          },
          kItems};
}

// As a function that the compiler can't see through from its caller, with the
// same check of its result.
using TFunction = double (*)(const TValues&);
TBatch Native(TFunction function) {
  auto values = std::make_shared<TValues>(TValues{1.0, 2.0, 0.75, 1.25, true});
  return {[values, function] {
            TFunction volatile hidden = function;
            double sum = 0.0;
            double lastGood = 0.0;
            for (std::size_t i = 0; i < kItems; ++i) {
              Vary(i, &values->a, &values->b);
              const double value = hidden(*values);
              if (std::isfinite(value)) lastGood = value;
              sum += lastGood;
            }
            Keep(sum);
          },
          kItems};
}

void AddExpression(const char* text, double target, TFunction function) {
  AddRow({std::string("expression/") + text,
          EMeasure::kOther,
          target,
          [text] { return Interpreted(text); },
          [function] { return Native(function); },
          {}});
}

}  // namespace

void AddExpressionRows() {
  constexpr double kSimple = 6.0;
  AddExpression("a", kSimple, [](const TValues& v) { return v.a; });
  AddExpression("a + b", kSimple, [](const TValues& v) { return v.a + v.b; });
  AddExpression("a * 0.5 + b", kSimple, [](const TValues& v) { return v.a * 0.5 + v.b; });
  AddExpression("(a - b) / c + d", kSimple, [](const TValues& v) { return (v.a - v.b) / v.c + v.d; });
  AddExpression("if(run and a < b, a, b)", kSimple, [](const TValues& v) { return v.run && v.a < v.b ? v.a : v.b; });
  AddExpression("max(a, min(b, c))", kSimple, [](const TValues& v) { return std::fmax(v.a, std::fmin(v.b, v.c)); });
  AddExpression("sin(a)", 0.0, [](const TValues& v) { return std::sin(v.a); });
  AddExpression("exp(a) * ln(b)", 0.0, [](const TValues& v) { return std::exp(v.a) * std::log(v.b); });
  AddExpression("a ^ c", 0.0, [](const TValues& v) { return std::pow(v.a, v.c); });
}

}  // namespace bench
