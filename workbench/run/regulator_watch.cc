#include "workbench/run/regulator_watch.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kMostShown = 30;        // windows, in the text
constexpr std::uint64_t kPeriodsOfStart = 2;  // which track what a regulator starts from

}  // namespace

CRegulatorWatch::CRegulatorWatch(const CObservation& theObservation, const CLearningWatch& theLearning,
                                 double periodSeconds, std::vector<runtime::TNamedSpan> declaredWindows,
                                 TNoteSink noteSink)
    : observation(theObservation),
      learning(theLearning),
      period(periodSeconds),
      declared(std::move(declaredWindows)),
      note(std::move(noteSink)) {
  const std::size_t count = observation.Regulators().size();
  const std::size_t kept = std::min(declared.size(), CWishWindows::kMostOfAll / std::max<std::size_t>(count, 1));
  furtherDeclared = declared.size() - kept;
  declared.resize(kept);
  for (const TRegulator& regulator : observation.Regulators()) {
    regulator.instrument.NoteRegulating();
    TWatched& state = watched.emplace_back(regulator.kind, period, declared.size());
    state.start = SettingsOf(regulator);
    if (regulator.kind == ERegulatorKind::kContinuous) state.lastOutput = regulator.instrument.OutputElement();
  }
}

void CRegulatorWatch::Observe() {
  for (std::size_t i = 0; i < watched.size(); ++i) {
    Observe(observation.Regulators()[i], observation.Rows()[i], &watched[i]);
  }
}

void CRegulatorWatch::Observe(const TRegulator& regulator, const TObserved& row, TWatched* state) {
  TSample sample = row.Sample(observation.Time());
  sample.outputBefore = state->lastOutput;
  const TWishMotion wish = state->wish.Follow(sample.wish, sample.value);
  const bool regulates = regulator.instrument.Regulates();
  if (!regulates && !state->automatic) state->automatic = state->whole;
  state->whole.Feed(sample, wish);
  if (wish.changes) state->changedByHand.reset();
  if (!regulates && wish.changes) state->changedByHand = wish;
  if (regulates && state->automatic) {
    const TWishMotion& since = state->changedByHand.value_or(wish);
    state->automatic->Feed(sample, {wish.changes || state->changedByHand, wish.moves, since.begins, since.from});
    state->changedByHand.reset();
  }
  state->windows.Feed(sample, wish, &room);
  const double forgiven = runtime::kForgivenRounding * period;
  for (std::size_t i = 0; i < declared.size(); ++i) {
    if (sample.time > declared[i].from + forgiven && sample.time <= declared[i].to + forgiven) {
      state->ofDeclared[i].Feed(sample, wish);
    }
  }
  state->lastOutput = sample.output;
  NoteLimit(regulator, row.panes[runtime::kWishPane], "wish", &state->wishLimited);
  NoteLimit(regulator, row.panes[runtime::kValuePane], "value", &state->valueLimited);
}

void CRegulatorWatch::NoteLimit(const TRegulator& regulator, const runtime::TPane& pane, const char* what, bool* said) {
  if (*said || pane.measured == pane.value) return;
  *said = true;
  note(regulator.instrument.Name(), std::string("the ") + what + " is limited by its pane to " +
                                        Significant(pane.rangeFrom) + " … " + Significant(pane.rangeTo));
}

CRegulatorWatch::TSummary CRegulatorWatch::Summary(std::size_t index) const {
  const TWatched& state = watched[index];
  const auto& [instrument, kind, reference] = observation.Regulators()[index];
  TSummary summary = {instrument,
                      kind,
                      {instrument.QuantityUnit(), instrument.OutputUnit(), period},
                      state.whole.Figures(kind, period),
                      (state.automatic ? *state.automatic : state.whole).Figures(kind, period),
                      state.automatic ? state.whole.Rows() - state.automatic->Rows() : 0,
                      observation.Time(),
                      state.windows.Windows(),
                      state.windows.Further() + furtherDeclared,
                      state.start,
                      SettingsOf(observation.Regulators()[index]),
                      learning.Lines(instrument.Name())};
  for (std::size_t i = 0; i < declared.size(); ++i) {
    summary.windows.push_back(
        {declared[i].name, declared[i].from, declared[i].to, false, state.ofDeclared[i].Figures(kind, period)});
  }
  return summary;
}

std::vector<TWindow> CRegulatorWatch::TSummary::ShownWindows() const {
  std::vector<TWindow> shown;
  if (byHand > kPeriodsOfStart) shown.push_back({runtime::Translated("automatic"), 0.0, to, false, automatic});
  if (windows.size() < 2) return shown;
  for (const bool ofWish : {false, true}) {
    std::copy_if(windows.begin(), windows.end(), std::back_inserter(shown),
                 [ofWish](const TWindow& window) { return window.isWish == ofWish; });
  }
  return shown;
}

std::string CRegulatorWatch::SummaryText() const {
  CTable table;
  std::vector<TSummary> summaries;
  for (std::size_t i = 0; i < watched.size(); ++i) {
    summaries.push_back(Summary(i));
    for (auto& row : FigureRows(summaries[i].kind, summaries[i].whole, summaries[i].units)) table.Add(std::move(row));
  }
  // One table for all, so that its columns stand under each other.
  const std::vector<std::string> lines = table.Lines(2);
  std::string text;
  std::size_t next = 0;
  for (const TSummary& summary : summaries) {
    text += summary.instrument.Name() + " (" + summary.instrument.ClassName() + ")\n";
    const std::size_t count = FigureRows(summary.kind, summary.whole, summary.units).size();
    for (std::size_t row = 0; row < count; ++row) text += lines[next++];
    if (const std::vector<TWindow> windows = summary.ShownWindows(); !windows.empty()) {
      CTable ofWindows;
      const std::size_t most = std::min(windows.size(), kMostShown);
      const std::vector<TWindow> first(windows.begin(), windows.begin() + static_cast<std::ptrdiff_t>(most));
      for (auto& row : WindowRows(summary.kind, first, summary.units)) ofWindows.Add(std::move(row));
      text += ofWindows.Text(2);
      const std::uint64_t others = windows.size() - most + summary.furtherWindows;
      if (others > 0) text += "  " + runtime::Translated("… " + workbench::Count(others, "more window")) + "\n";
    }
    for (const std::string& line : summary.learnt) text += "  " + line + "\n";
  }
  return text;
}

}  // namespace workbench
