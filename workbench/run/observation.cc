#include "workbench/run/observation.h"

#include <limits>
#include <string_view>
#include <utility>

namespace workbench {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// By the shape of its events' letters: one real, one boolean, two booleans.
// Without such events its output is taken as a number.
ERegulatorKind KindOf(const std::vector<runtime::TNamed>& events) {
  static constexpr std::pair<std::string_view, ERegulatorKind> kShapes[] = {
      {"__R", ERegulatorKind::kContinuous}, {"__l", ERegulatorKind::kTwoState}, {"__ll", ERegulatorKind::kIncremental}};
  for (const auto& event : events) {
    for (const auto& [letters, kind] : kShapes) {
      if (event.name.ends_with(letters)) return kind;
    }
  }
  return ERegulatorKind::kContinuous;
}

}  // namespace

bool TRegulator::HasBand() const {
  return reference != nullptr && !reference->Band().plus.empty() && !reference->Band().minus.empty();
}

CObservation::CObservation(const runtime::CApplication& theApplication, const TReferences& references,
                           TWanted whatIsWanted)
    : application(theApplication), wanted(whatIsWanted) {
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    if (instrument.PaneCount() == 0) continue;
    const auto found = references.find(instrument.ClassName());
    regulators.push_back(
        {instrument, KindOf(instrument.Events()), found == references.end() ? nullptr : &found->second});
  }
  rows.resize(regulators.size());
}

void CObservation::Observe() {
  time = application.Time();
  for (std::size_t i = 0; i < regulators.size(); ++i) {
    const TRegulator& regulator = regulators[i];
    for (std::size_t pane = 0; pane < rows[i].panes.size(); ++pane)
      rows[i].panes[pane] = regulator.instrument.Pane(pane);
    if (wanted.band && regulator.HasBand()) ObserveBand(regulator, &rows[i]);
    if (wanted.state && regulator.reference != nullptr) ObserveState(regulator, &rows[i]);
  }
}

std::optional<double> CObservation::Answer(const TRegulator& regulator, const std::string& procedure) {
  arguments.assign(1, 0.0);
  if (!regulator.instrument.Call(procedure, &arguments)) return std::nullopt;
  return arguments[0];
}

void CObservation::ObserveBand(const TRegulator& regulator, TObserved* row) {
  const auto plus = Answer(regulator, regulator.reference->Band().plus);
  const auto minus = Answer(regulator, regulator.reference->Band().minus);
  row->band.reset();
  if (plus && minus) row->band = TBand{*plus, *minus};
}

// Columns of one procedure stand together, so that it is called once for them.
void CObservation::ObserveState(const TRegulator& regulator, TObserved* row) {
  row->state.clear();
  const std::string* called = nullptr;
  bool resolves = false;
  for (const runtime::TStateColumn& column : regulator.reference->State()) {
    if (called == nullptr || *called != column.procedure || arguments.size() != column.argumentCount) {
      called = &column.procedure;
      arguments.assign(column.argumentCount, 0.0);
      resolves = regulator.instrument.Call(column.procedure, &arguments);
    }
    const double answer = resolves ? arguments[column.argument] : kNone;
    row->state.push_back(column.negate ? -answer : answer);
  }
}

}  // namespace workbench
