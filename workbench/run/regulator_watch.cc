#include "workbench/run/regulator_watch.h"

#include <utility>

#include "workbench/text.h"

namespace workbench {

CRegulatorWatch::CRegulatorWatch(const CObservation& theObservation, const CLearningWatch& theLearning,
                                 double periodSeconds, TNoteSink noteSink)
    : observation(theObservation),
      learning(theLearning),
      note(std::move(noteSink)),
      watched(observation.Regulators().size(), {CRegulatorSummary(periodSeconds)}) {}

void CRegulatorWatch::Observe() {
  for (std::size_t i = 0; i < watched.size(); ++i) {
    const TRegulator& regulator = observation.Regulators()[i];
    const TObserved& row = observation.Rows()[i];
    watched[i].summary.Feed({observation.Time(), row.Wish(), row.Value(), row.Output(), row.band});
    NoteLimit(regulator, row.panes[runtime::kWishPane], "wish", &watched[i].wishLimited);
    NoteLimit(regulator, row.panes[runtime::kValuePane], "value", &watched[i].valueLimited);
  }
}

void CRegulatorWatch::NoteLimit(const TRegulator& regulator, const runtime::TPane& pane, const char* what, bool* said) {
  if (*said || pane.limitedPeriods == 0) return;
  *said = true;
  note(regulator.instrument.Name(), std::string("the ") + what + " is limited by its pane to " +
                                        Significant(pane.rangeFrom) + " … " + Significant(pane.rangeTo));
}

std::vector<CRegulatorWatch::TSummary> CRegulatorWatch::Summaries() const {
  std::vector<TSummary> summaries;
  for (std::size_t i = 0; i < watched.size(); ++i) {
    const auto& [instrument, kind, reference] = observation.Regulators()[i];
    const auto& panes = observation.Rows()[i].panes;
    const TRegulatorReport report = {kind, instrument.QuantityUnit(), instrument.OutputUnit(),
                                     panes[runtime::kWishPane].limitedPeriods,
                                     panes[runtime::kValuePane].limitedPeriods};
    summaries.push_back(
        {instrument, report, ReportRows(watched[i].summary, report), learning.Lines(instrument.Name())});
  }
  return summaries;
}

std::string CRegulatorWatch::SummaryText() const {
  const std::vector<TSummary> summaries = Summaries();
  CTable table;
  for (const TSummary& summary : summaries) {
    for (const auto& row : summary.rows) table.Add(row);
  }
  // One table for all, so that its columns stand under each other.
  const std::vector<std::string> lines = table.Lines(2);
  std::string text;
  std::size_t next = 0;
  for (const TSummary& summary : summaries) {
    text += summary.instrument.Name() + " (" + summary.instrument.ClassName() + ")\n";
    for (std::size_t row = 0; row < summary.rows.size(); ++row) text += lines[next++];
    for (const std::string& line : summary.learnt) text += "  " + line + "\n";
  }
  return text;
}

}  // namespace workbench
