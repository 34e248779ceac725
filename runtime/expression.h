// Typed expressions as they stand ready to run.
#ifndef LOOPBOX_RUNTIME_EXPRESSION_H
#define LOOPBOX_RUNTIME_EXPRESSION_H

#include <cstdint>
#include <memory>

#include "host/hx_main.h"
#include "runtime/data_elements.h"

// One expression of the text. It belongs to whoever compiled it, and lives no
// longer than the runtime::CExpressions that made it.
struct hx_expr::TExprTreeRecord {
  const std::uint64_t* code = nullptr;  // the program, which identical expressions share
  double lastGood = 0;                  // what is yielded when there is no value; booleans are 0 and 1
  std::uint32_t mark = 0;               // where the expression starts
  std::uint32_t failedMark = 0;         // the place reported last, while `failing`
  bool failing = false;
  bool isConstant = false;                      // reads nothing that may change
  runtime::EType type = runtime::EType::kReal;  // kReal or kBoolean
  std::unique_ptr<std::uint32_t[]> indexMarks;  // the places of its indices, null when it has none
};

#endif
