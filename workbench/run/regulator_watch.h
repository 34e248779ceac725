// The regulators of a run, watched period by period.
#ifndef LOOPBOX_WORKBENCH_RUN_REGULATOR_WATCH_H
#define LOOPBOX_WORKBENCH_RUN_REGULATOR_WATCH_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/plugin_folder.h"
#include "workbench/run/summary.h"

namespace workbench {

class CRegulatorWatch {
 public:
  // `note` hears, once for each regulator and pane, that the pane limited
  // something: instrument, text.
  using TNoteSink = std::function<void(const std::string&, const std::string&)>;

  CRegulatorWatch(const runtime::CApplication& application, const TReferences& references, TNoteSink noteSink);

  // After each period.
  void Observe();
  // The rows of each regulator's table, in the order of definition.
  struct TSummary {
    runtime::CInstrumentHandle instrument;
    TRegulatorReport report;
    std::vector<std::vector<std::string>> rows;
  };
  std::vector<TSummary> Summaries() const;
  // A heading and an aligned table for each regulator.
  std::string SummaryText() const;

 private:
  struct TWatched {
    runtime::CInstrumentHandle instrument;
    ERegulatorKind kind;
    TBandProcedures band;
    CRegulatorSummary summary;
    bool wishLimited = false;  // and said so
    bool valueLimited = false;
  };

  std::optional<TBand> BandOf(const TWatched& watched);
  void NoteLimit(const TWatched& watched, const runtime::TPane& pane, const char* what, bool* said);

  const runtime::CApplication& application;
  TNoteSink note;
  std::vector<TWatched> regulators;
  std::vector<double> arguments;  // of a call
};

}  // namespace workbench

#endif
