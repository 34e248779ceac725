// What the regulators of a run learn, watched period by period.
//
// A regulator is watched from the first period in which it learns on: what it acts
// by later is still what it learnt. Two things are reported, each once until it
// clears, in periods in which the regulator regulates:
//
//   not good  it learns, and for 20 periods r0 > 0, tI > 0, tD >= 0 have not held, or
//             one of them was not finite; not asked of a law without these
//             parameters. What identification passes through on its way is shorter;
//             at the end of the run any length counts.
//   stuck     the output has been at one end of its pane for 20 periods, while the
//             error exceeded 5 % of the wish pane's span
//
// The time constants of the model y(k) + a1 y(k-1) + a2 y(k-2) = b1 u(k-1) + b2 u(k-2)
// come from the poles of z² + a1 z + a2: with the period T0 a real pole in (0, 1) is
// -T0 / ln z; a complex pair z = exp(s T0), s = -ζω ± jω√(1 - ζ²), oscillates with the
// period T0 2π / arg z and the damping ζ.
#ifndef LOOPBOX_WORKBENCH_RUN_LEARNING_WATCH_H
#define LOOPBOX_WORKBENCH_RUN_LEARNING_WATCH_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/references.h"
#include "workbench/run/state_reader.h"

namespace workbench {

class CLearningWatch {
 public:
  using TSink = std::function<void(const runtime::TRunTimeMessage&)>;

  // The application and the references outlive the watch.
  CLearningWatch(const runtime::CApplication& application, const TReferences& references, TSink sink);

  // After each period.
  void Observe();
  // After the last one.
  void Finish();
  // Of a regulator, for the summary: what it knows, and what was reported. None where
  // it didn't learn. At the end of the run the files that it wrote are among it.
  std::vector<std::string> Lines(const std::string& instrument) const;

 private:
  struct TTrouble {
    bool now = false;
    std::uint64_t times = 0;
    double from = 0.0;  // seconds, the last time
    double to = 0.0;
    std::string text;
  };

  struct TWatched {
    runtime::CInstrumentHandle instrument;
    const CReference* reference;
    runtime::CProcedureName whileTrue;
    runtime::CProcedureName always;
    CStateReader parameters;  // r0, tI, tD, identifying
    bool hasLearnt = false;   // in this run
    std::uint64_t periodsIdentified = 0;
    std::uint64_t periodsNotGood = 0;  // in all
    std::uint64_t periodsSinceGood = 0;
    std::uint64_t periodsAtEnd = 0;  // of the output pane, one after another
    TTrouble notGood = {};
    TTrouble stuck = {};
  };

  // Whether it does, and whether it has r0, tI and tD.
  bool Learns(const TWatched& watched, bool* hasParameters);
  bool IsAtEnd(const TWatched& watched) const;
  void NoteNotGood(TWatched& watched);
  void Note(const TWatched& watched, bool now, const std::string& text, TTrouble* trouble);
  std::string Knowledge(const TWatched& watched) const;

  const runtime::CApplication& application;
  TSink sink;
  std::vector<TWatched> regulators;  // those that learn or may come to it
  std::vector<double> values;
};

}  // namespace workbench

#endif
