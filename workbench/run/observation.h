// What the regulators of a run show, read once after each period for all who
// look on.
#ifndef LOOPBOX_WORKBENCH_RUN_OBSERVATION_H
#define LOOPBOX_WORKBENCH_RUN_OBSERVATION_H

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/references.h"
#include "workbench/run/metrics.h"
#include "workbench/run/state_reader.h"

namespace workbench {

// By the shape of its events' letters: one real, one boolean, two booleans. Without
// such events the output is taken as a number.
ERegulatorKind KindOf(const runtime::CInstrumentHandle& regulator);

struct TRegulator {
  runtime::CInstrumentHandle instrument;
  ERegulatorKind kind;
  const CReference* reference;  // of its class; null: it has none

  bool HasBand() const;
};

// One regulator at the end of a period.
struct TObserved {
  std::array<runtime::TPane, 3> panes;  // by EPane
  std::optional<TBand> band;            // none: not asked for, or not known
  // In the order of the reference's columns, NaN where a procedure's name does
  // not resolve now; empty: not asked for.
  std::vector<double> state;
  bool inHand = false;  // it doesn't regulate: its condition doesn't hold, or it tracks; false: not asked for

  // As their expressions gave them; what the panes' ranges made of them, the panes
  // show.
  double Wish() const { return panes[runtime::kWishPane].measured; }
  double Value() const { return panes[runtime::kValuePane].measured; }
  double Output() const { return panes[runtime::kOutputPane].value; }
  // Whether an output would stand at an end of its pane's range.
  bool IsAtEnd(double output) const;
  // Without the output before it.
  TSample Sample(double time) const;
};

class CObservation {
 public:
  // What costs calls of procedures is read for those who want it only.
  struct TWanted {
    bool band = false;
    bool state = false;
    bool hands = false;
  };

  // Both outlive the observation.
  CObservation(const runtime::CApplication& application, const TReferences& references, TWanted wanted);

  // After each period.
  void Observe();

  const runtime::CApplication& Application() const { return application; }
  double Time() const { return time; }  // seconds, of the period read last
  // In the order of definition, and what each showed then.
  const std::vector<TRegulator>& Regulators() const { return regulators; }
  std::span<const TObserved> Rows() const { return rows; }

 private:
  struct TCalls {
    std::vector<runtime::CProcedureName> band;  // plus and minus, or none
    CStateReader state;
  };

  static TCalls CallsOf(const TRegulator& regulator, TWanted wanted);
  void ObserveBand(const runtime::CInstrumentHandle& instrument, const TCalls& called, TObserved* row);

  const runtime::CApplication& application;
  const bool hands;
  double time = 0.0;
  std::vector<TRegulator> regulators;
  std::vector<TCalls> calls;      // by regulator
  std::vector<TObserved> rows;    // by regulator
  std::vector<double> arguments;  // of a call
};

}  // namespace workbench

#endif
