// Typed expressions as they stand ready to run.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_EXPRESSION_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_EXPRESSION_H

#include <cstdint>
#include <memory>

#include "host/hx_main.h"
#include "runtime/expressions/data_elements.h"

// One expression of the text. It belongs to whoever compiled it, and lives no
// longer than the runtime::CExpressions that made it, whose room it takes. What
// an evaluation touches is small and stands in order of compiling.
struct hx_expr::TExprTreeRecord {
  static constexpr std::uint32_t kNotFailing = 0xFFFFFFFE;

  const std::uint64_t* code = nullptr;          // the program, which identical expressions share
  double lastGood = 0;                          // what is yielded when there is no value; booleans are 0 and 1
  std::uint32_t failedMark = kNotFailing;       // the place reported last, as long as evaluating fails
  std::uint32_t mark : 30 = 0;                  // where the expression starts
  std::uint32_t isBooleanElement : 1 = 0;       // a boolean element's name alone, as most conditions are
  std::uint32_t isConstant : 1 = 0;             // reads nothing that may change
  std::unique_ptr<std::uint32_t[]> indexMarks;  // the places of its indices, null when it has none

  bool IsFailing() const { return failedMark != kNotFailing; }
};

#endif
