// The regulators of a run, watched period by period.
#ifndef LOOPBOX_WORKBENCH_RUN_REGULATOR_WATCH_H
#define LOOPBOX_WORKBENCH_RUN_REGULATOR_WATCH_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/run/learning_watch.h"
#include "workbench/run/observation.h"
#include "workbench/run/summary.h"

namespace workbench {

class CRegulatorWatch {
 public:
  // `note` hears, once for each regulator and pane, that the pane limited
  // something: instrument, text.
  using TNoteSink = std::function<void(const std::string&, const std::string&)>;

  // The observation and the watch of what is learnt outlive this one.
  CRegulatorWatch(const CObservation& observation, const CLearningWatch& learning, double periodSeconds,
                  TNoteSink noteSink);

  // After each period, once it is observed.
  void Observe();
  // The rows of each regulator's table, in the order of definition.
  struct TSummary {
    runtime::CInstrumentHandle instrument;
    TRegulatorReport report;
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> learnt;  // lines
  };
  std::vector<TSummary> Summaries() const;
  // A heading, an aligned table and what was learnt for each regulator.
  std::string SummaryText() const;

 private:
  struct TWatched {
    CRegulatorSummary summary;
    bool wishLimited = false;  // and said so
    bool valueLimited = false;
  };

  void NoteLimit(const TRegulator& regulator, const runtime::TPane& pane, const char* what, bool* said);

  const CObservation& observation;
  const CLearningWatch& learning;
  TNoteSink note;
  std::vector<TWatched> watched;  // by regulator
};

}  // namespace workbench

#endif
