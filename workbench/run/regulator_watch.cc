#include "workbench/run/regulator_watch.h"

#include <utility>

#include "workbench/text.h"

namespace workbench {

CRegulatorWatch::CRegulatorWatch(const runtime::CApplication& watchedApplication, const TReferences& references,
                                 TNoteSink noteSink)
    : application(watchedApplication), note(std::move(noteSink)) {
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    if (instrument.PaneCount() == 0) continue;
    const auto kind = KindOf(instrument.Events());
    if (!kind) continue;
    const auto reference = references.find(instrument.ClassName());
    regulators.push_back({instrument, *kind,
                          reference == references.end() ? TBandProcedures{} : reference->second.Band(),
                          CRegulatorSummary(application.Period())});
  }
}

void CRegulatorWatch::Observe() {
  for (TWatched& watched : regulators) {
    const runtime::TPane wish = watched.instrument.Pane(runtime::kWishPane);
    const runtime::TPane value = watched.instrument.Pane(runtime::kValuePane);
    const runtime::TPane output = watched.instrument.Pane(runtime::kOutputPane);
    watched.summary.Feed({application.Time(), wish.value, value.value, output.value, BandOf(watched)});
    NoteLimit(watched, wish, "wish", &watched.wishLimited);
    NoteLimit(watched, value, "value", &watched.valueLimited);
  }
}

std::optional<TBand> CRegulatorWatch::BandOf(const TWatched& watched) {
  const auto answer = [&](const std::string& procedure) -> std::optional<double> {
    arguments.assign(1, 0.0);
    if (procedure.empty() || !watched.instrument.Call(procedure, &arguments)) return std::nullopt;
    return arguments[0];
  };
  const auto plus = answer(watched.band.plus);
  const auto minus = answer(watched.band.minus);
  if (!plus || !minus) return std::nullopt;
  return TBand{*plus, *minus};
}

void CRegulatorWatch::NoteLimit(const TWatched& watched, const runtime::TPane& pane, const char* what, bool* said) {
  if (*said || pane.limitedPeriods == 0) return;
  *said = true;
  note(watched.instrument.Name(), std::string("the ") + what + " is limited by its pane to " +
                                      Significant(pane.rangeFrom) + " … " + Significant(pane.rangeTo));
}

std::vector<CRegulatorWatch::TSummary> CRegulatorWatch::Summaries() const {
  std::vector<TSummary> summaries;
  for (const TWatched& watched : regulators) {
    const runtime::CInstrumentHandle& instrument = watched.instrument;
    const TRegulatorReport report = {watched.kind, instrument.QuantityUnit(), instrument.OutputUnit(),
                                     instrument.Pane(runtime::kWishPane).limitedPeriods,
                                     instrument.Pane(runtime::kValuePane).limitedPeriods};
    summaries.push_back({instrument, report, ReportRows(watched.summary, report)});
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
  }
  return text;
}

}  // namespace workbench
