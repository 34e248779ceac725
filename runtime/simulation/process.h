// The simulated process: algebraic lines and differential equations, advanced
// from period to period by the classical Runge-Kutta method of fourth order.
#ifndef LOOPBOX_RUNTIME_SIMULATION_PROCESS_H
#define LOOPBOX_RUNTIME_SIMULATION_PROCESS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/expressions/compiler.h"
#include "runtime/expressions/data_elements.h"
#include "runtime/numbers/random.h"
#include "runtime/text/lexer.h"

namespace runtime {

constexpr std::uint32_t kDefaultSubsteps = 10;
constexpr std::uint32_t kMaximumSubsteps = 10'000;
// Of all delays together. One that would need to remember more yields its
// oldest record, and an error is reported.
constexpr std::size_t kMaximumDelayRecords = 10'000'000;

// The past of one delayed value.
class CDelay {
 public:
  // With `replaces` the oldest record makes room, if there is one.
  void Record(double time, double value, bool replaces);
  // The newest record at least `seconds` old at `time`, the oldest one when
  // there is none. Differences of rounding in the times are forgiven: a
  // billionth of `substep` and a few units in the last place of the time.
  // *isLost tells that the record asked for had to be dropped.
  double Find(double time, double seconds, double substep, bool* isLost) const;
  // Forgets what is no longer needed when no later call asks for an older
  // record than Find(time, seconds, substep).
  void Trim(double time, double seconds, double substep);
  void Clear();
  bool IsEmpty() const { return Count() == 0; }
  std::size_t Count() const { return records.size() - oldest; }

 private:
  struct TRecord {
    double time;
    double value;
  };

  // How many records are old enough.
  std::size_t CountOf(double time, double seconds, double substep) const;

  // In order of time. Those before `oldest` are no longer needed; they go when
  // the room is used up, so that a delay that has filled takes no more memory.
  std::vector<TRecord> records;
  std::size_t oldest = 0;
  bool hasDropped = false;
};

class CProcess {
  friend class CProcessProbe;

 public:
  // Receives run-time errors: the place and the message, each once until it
  // has been absent for a whole period.
  using TErrorSink = std::function<void(std::uint32_t mark, const std::string& message)>;

  // Both stay the caller's and outlive the process.
  CProcess(CDataElements& data, CExpressions& shared) : elements(data), expressions(shared) {}

  // Goes through a block from behind its keyword `process` and declares the
  // names of its algebraic lines that no data block declares: reals that are
  // known to the application but not traced.
  void DeclareIntermediates(CLexer& lexer);
  // Reads a block from behind its keyword `process` through `end_process;`,
  // when all names have been declared. Lines are
  //   substeps = COUNT;             at most once in all blocks
  //   NAME = EXPRESSION;            NAME a real or a boolean
  //   NAME = delay(EXPRESSION, SECONDS);
  //   NAME' = EXPRESSION;           NAME a real
  // where NAME may be an array element with a constant index, ARRAY[2].
  // Throws TTextError.
  void ReadProcessBlock(CLexer& lexer);

  // Whether an algebraic line computes what stands there, over and over.
  bool Computes(const void* value) const;
  // The same for a line of either kind.
  bool Writes(const void* value) const;
  // The lines that compute what stands there are evaluated no more: something else
  // writes it.
  void LeaveTo(const void* value);
  bool IsEmpty() const { return algebraic.empty() && derivatives.empty(); }

  std::uint32_t Substeps() const { return substeps; }
  // For who doesn't want to wait for so many.
  void SetMaximumDelayRecords(std::size_t count) { maximumDelayRecords = count; }
  // What is allowed and hardly meant: the place and what it comes to. By a lexer of
  // the text that was read.
  std::vector<TTextError> Doubts(CLexer& lexer) const;

  // At time 0, before the first period: evaluates the algebraic lines. A delay has no
  // record yet, and yields its input. Nothing of a run before is left.
  void Start(std::uint64_t seed, TErrorSink sink);
  // Integrates `periods` of them, a thousand of many in full, and leaves the
  // application's time at `to`.
  void Advance(double from, double to, std::uint64_t periods);

 private:
  // An expression, and whether it failed in this period and in the one before.
  struct TFormula {
    TExpression expression;
    std::uint32_t failedMark = 0;
    bool failed = false;
    bool failedBefore = false;
  };
  struct TAlgebraic {
    EType type;
    void* target;
    TFormula formula;
    TFormula seconds;  // without an expression: no delay
    CDelay delay;

    double Get() const {
      return type == EType::kBoolean ? *static_cast<std::uint8_t*>(target) : *static_cast<double*>(target);
    }
    void Put(double value) {
      if (type == EType::kBoolean) {
        *static_cast<std::uint8_t*>(target) = value != 0 ? 1 : 0;
      } else {
        *static_cast<double*>(target) = value;
      }
    }
  };
  struct TDerivative {
    double* target;
    TFormula formula;
    double start = 0;  // the state at the start of the substep
    double slope = 0;  // the k computed last
    double sum = 0;    // k1 + 2 k2 + 2 k3 + k4, as far as it has come
  };
  struct TTarget {
    std::int32_t element;
    std::uint32_t index;
    std::uint32_t mark;
  };
  // An algebraic line in the text.
  struct TWrittenLine {
    TTarget target;
    std::uint32_t begin;  // of its right side
    std::uint32_t end;
  };

  void ReadLine(CLexer& lexer);
  void ReadSubsteps(CLexer& lexer);
  TTarget ReadTarget(CLexer& lexer);
  void ReadAlgebraic(CLexer& lexer, const TTarget& target);
  bool ReadsItself(CLexer& lexer, const TWrittenLine& line) const;
  void ReadDerivative(CLexer& lexer, const TTarget& target);
  TFormula ReadFormula(CLexer& lexer, EType type);

  void DrawNoise();
  double Value(TFormula& formula);
  void Report(TFormula& formula, std::uint32_t mark, std::string_view message);
  double DelayedValue(TAlgebraic& line, double time, bool records);
  void EvaluateAlgebraic(double time, bool records);
  void Substep(double from, double to);
  void FinishPeriod(double time);

  CDataElements& elements;
  CExpressions& expressions;
  std::uint32_t substeps = kDefaultSubsteps;
  bool substepsGiven = false;
  std::vector<TAlgebraic> algebraic;
  std::vector<TWrittenLine> written;  // of each of them
  std::vector<TDerivative> derivatives;
  std::set<std::pair<std::int32_t, std::uint32_t>> targets;  // element, index
  TNoiseDraws noise;
  CRandom random{0};
  double substepLength = 0;
  std::size_t delayRecords = 0;  // of all delays
  std::size_t maximumDelayRecords = kMaximumDelayRecords;
  TErrorSink sink;
};

}  // namespace runtime

#endif
