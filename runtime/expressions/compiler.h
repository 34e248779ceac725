// From the text of an expression to a program for the stack machine.
//
// Loosest to tightest:
//   or | and | not | == != < <= > >= | + - | * / % | unary - | ^ | ( )
// `^` groups to the right and its exponent may carry a minus; the other binary
// operators group to the left. Operands are numbers (reals and integers) or
// booleans, never mixed: == and != compare two of either kind, < <= > >=
// numbers alone.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_COMPILER_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_COMPILER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

#include "runtime/expressions/data_elements.h"
#include "runtime/expressions/expression.h"
#include "runtime/expressions/open_index.h"
#include "runtime/expressions/qualities.h"
#include "runtime/text/lexer.h"

namespace runtime {

class CExpressions;

struct TReleaser {
  CExpressions* expressions = nullptr;
  void operator()(hx_expr::TExprTreeRecord* record) const;
};
using TExpression = std::unique_ptr<hx_expr::TExprTreeRecord, TReleaser>;

constexpr int kMaximumNesting = 200;                      // parentheses, calls and indices inside one another
constexpr std::size_t kMaximumProgramLength = 1'000'000;  // words

// The draws of `noise`, one for each place where it is called, in their order.
using TNoiseDraws = std::deque<double>;

// What an expression remembers of its evaluations.
struct TRemembered {
  double lastGood;
  std::uint32_t failedMark;
};

// The expressions of one application: its programs and its time.
class CExpressions {
 public:
  CExpressions() = default;
  CExpressions(const CExpressions&) = delete;
  CExpressions& operator=(const CExpressions&) = delete;

  // What `time` reads: seconds since the start of the run.
  double& Time() { return time; }
  // What `good(x)` and `age(x)` read.
  CQualities& Qualities() { return qualities; }

  // Reads an expression from the lexer up to but not including what cannot
  // continue it, which the caller checks. `wanted` is kReal for a number, or
  // kBoolean. `noise(sigma)` is allowed where `noise` is given: each call
  // appends a draw, which it multiplies by sigma. Throws TTextError.
  TExpression Compile(CLexer& lexer, const CDataElements& elements, EType wanted, TNoiseDraws* noise = nullptr);

  // What the expressions remember of their evaluations, in the order of compiling, and
  // to bring it back while there are the same.
  std::vector<TRemembered> Remembered() const;
  void SetRemembered(const std::vector<TRemembered>& remembered);

  // Takes an expression back. One that nobody gave back goes with this.
  void Release(hx_expr::TExprTreeRecord* record);

 private:
  using TProgram = std::span<const std::uint64_t>;

  static constexpr std::size_t kChunkWords = 4096;

  const std::uint64_t* Shared(const std::vector<std::uint64_t>& code);

  // Programs and records lie in the order in which they were compiled.
  std::vector<TProgram> programs;
  COpenIndex byWords;
  std::vector<std::unique_ptr<std::uint64_t[]>> chunks;
  std::uint64_t* nextWord = nullptr;
  std::size_t wordsLeft = 0;
  std::deque<hx_expr::TExprTreeRecord> records;
  std::vector<hx_expr::TExprTreeRecord*> released;
  double time = 0;
  CQualities qualities;
};

inline void TReleaser::operator()(hx_expr::TExprTreeRecord* record) const { expressions->Release(record); }

}  // namespace runtime

#endif
