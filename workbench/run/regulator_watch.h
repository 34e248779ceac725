// The regulators of a run, watched period by period.
#ifndef LOOPBOX_WORKBENCH_RUN_REGULATOR_WATCH_H
#define LOOPBOX_WORKBENCH_RUN_REGULATOR_WATCH_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/run/learning_watch.h"
#include "workbench/run/metrics.h"
#include "workbench/run/observation.h"
#include "workbench/run/settings.h"
#include "workbench/run/summary.h"
#include "workbench/run/wish_windows.h"

namespace workbench {

class CRegulatorWatch {
 public:
  // `note` hears, once for each regulator and pane, that the pane limited
  // something: instrument, text.
  using TNoteSink = std::function<void(const std::string&, const std::string&)>;

  // Made before the first period. The observation and the watch of what is learnt
  // outlive this one. `declared` are windows that every regulator has.
  CRegulatorWatch(const CObservation& observation, const CLearningWatch& learning, double periodSeconds,
                  std::vector<runtime::TNamedSpan> declared, TNoteSink noteSink);

  // After each period, once it is observed.
  void Observe();
  // Of one regulator, so far.
  struct TSummary {
    runtime::CInstrumentHandle instrument;
    ERegulatorKind kind;
    TFigureUnits units;
    TFigures whole;
    TFigures automatic;               // of the periods in which it regulated
    std::uint64_t byHand;             // periods in which it didn't
    double to;                        // seconds, of the last period
    std::vector<TWindow> windows;     // of the wish in the order of time, then the declared ones
    std::uint64_t furtherWindows;     // that were not kept
    std::vector<TSetting> start;      // before the first period
    std::vector<TSetting> end;        // now
    std::vector<std::string> learnt;  // lines

    // Those that the tables show, those of the wish last: none where they would say
    // nothing but the whole.
    std::vector<TWindow> ShownWindows() const;
  };
  // In the order of definition.
  std::size_t Count() const { return watched.size(); }
  TSummary Summary(std::size_t regulator) const;
  // A heading, aligned tables and what was learnt for each regulator.
  std::string SummaryText() const;

 private:
  struct TWatched {
    TWatched(ERegulatorKind kind, double periodSeconds, std::size_t declared)
        : windows(kind, periodSeconds), ofDeclared(declared) {}

    std::vector<TSetting> start;
    CWishFollower wish;
    CMetrics whole;
    std::optional<CMetrics> automatic;         // none: it has always been
    std::optional<TWishMotion> changedByHand;  // a change that it answers when it regulates again
    CWishWindows windows;
    std::vector<CMetrics> ofDeclared;
    std::optional<double> lastOutput;
    bool wishLimited = false;  // and said so
    bool valueLimited = false;
  };

  void Observe(const TRegulator& regulator, const TObserved& row, TWatched* state);
  void NoteLimit(const TRegulator& regulator, const runtime::TPane& pane, const char* what, bool* said);

  const CObservation& observation;
  const CLearningWatch& learning;
  double period;  // seconds
  std::vector<runtime::TNamedSpan> declared;
  std::size_t furtherDeclared = 0;  // that are too many for so many regulators
  TNoteSink note;
  std::size_t room = CWishWindows::kMostOfAll;
  std::vector<TWatched> watched;  // by regulator
};

}  // namespace workbench

#endif
