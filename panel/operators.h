// What an operator may do to a run, and how it is done.
#ifndef LOOPBOX_PANEL_OPERATORS_H
#define LOOPBOX_PANEL_OPERATORS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "panel/command.h"
#include "panel/definition.h"
#include "runtime/runtime.h"

namespace panel {

// What a command changed, or why it changed nothing.
struct TChange {
  bool isDone = false;
  std::size_t count = 0;         // of the numbers
  double old[kMostValues] = {};  // NaN where nothing can be told
  double now[kMostValues] = {};
  char why[kWhyLength] = {};  // of a refused one

  void Refuse(const std::string& reason);
};

// Those of a class that an instrument has now.
TParameterSet ParametersOf(const runtime::CInstrumentHandle& instrument, const TParameterSets& sets);

class COperators {
 public:
  // All outlive it.
  COperators(const TDefinition& definition, const TParameterSets& sets, runtime::CApplication& theApplication);

  // Of an entry for parameters: in the order of a command's values.
  const TParameterSet& Parameters(std::size_t entry) const { return entries[entry].parameters; }

  // Between the process and the script of a period: kSet, kParameters, kTakeBack and
  // kCall. A refused one changes nothing.
  void Apply(const TCommand& command, TChange* change);
  // In each period behind its commands, in seconds of the run that rise: what goes to
  // its value by a rate is moved on. It has reached it, or ends where somebody else
  // has written the element since.
  void Ramp(double time);

 private:
  struct TRamp {
    double target;
    double reached;  // exactly
    double written;  // as the element holds it
  };
  struct TEntry {
    const TOperator* allowed;
    runtime::TElement element;  // of a kElement
    std::optional<TRamp> ramp;
    std::optional<runtime::CInstrumentHandle> instrument;
    TParameterSet parameters;
    std::optional<std::vector<double>> before;  // the set that the last one replaced
    std::string letters;                        // of a procedure's arguments
  };

  void Set(TEntry& entry, const TCommand& command, TChange* change);
  void SetParameters(TEntry& entry, const TCommand& command, TChange* change);
  void TakeBack(TEntry& entry, TChange* change);
  void Call(TEntry& entry, const TCommand& command, TChange* change);
  static void Replace(TEntry& entry, const double* values, TChange* change);

  runtime::CApplication& application;
  std::vector<TEntry> entries;
  double rampedAt = 0.0;  // seconds
};

}  // namespace panel

#endif
