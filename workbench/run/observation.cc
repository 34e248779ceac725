#include "workbench/run/observation.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace workbench {

ERegulatorKind KindOf(const runtime::CInstrumentHandle& instrument) {
  static constexpr std::pair<std::string_view, ERegulatorKind> kShapes[] = {
      {"__R", ERegulatorKind::kContinuous}, {"__l", ERegulatorKind::kTwoState}, {"__ll", ERegulatorKind::kIncremental}};
  for (const auto& event : instrument.Events()) {
    for (const auto& [letters, kind] : kShapes) {
      if (event.name.ends_with(letters)) return kind;
    }
  }
  return ERegulatorKind::kContinuous;
}

bool TRegulator::HasBand() const {
  return reference != nullptr && !reference->Band().plus.empty() && !reference->Band().minus.empty();
}

bool TObserved::IsAtEnd(double output) const {
  const runtime::TPane& pane = panes[runtime::kOutputPane];
  const auto [low, high] = std::minmax(pane.rangeFrom, pane.rangeTo);
  return output <= low || output >= high;
}

TSample TObserved::Sample(double time) const {
  const runtime::TPane& wish = panes[runtime::kWishPane];
  const runtime::TPane& value = panes[runtime::kValuePane];
  return {time,
          Wish(),
          Value(),
          Output(),
          std::nullopt,
          wish.measured != wish.value,
          value.measured != value.value,
          IsAtEnd(Output()),
          band};
}

CObservation::CObservation(const runtime::CApplication& theApplication, const TReferences& references, TWanted wanted)
    : application(theApplication), hands(wanted.hands) {
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    if (instrument.PaneCount() == 0) continue;
    const auto found = references.find(instrument.ClassName());
    regulators.push_back({instrument, KindOf(instrument), found == references.end() ? nullptr : &found->second});
    calls.push_back(CallsOf(regulators.back(), wanted));
    if (hands) instrument.NoteRegulating();
  }
  rows.resize(regulators.size());
}

CObservation::TCalls CObservation::CallsOf(const TRegulator& regulator, TWanted wanted) {
  TCalls calls;
  if (wanted.band && regulator.HasBand()) {
    const TBandProcedures& band = regulator.reference->Band();
    calls.band = {runtime::CProcedureName(band.plus), runtime::CProcedureName(band.minus)};
  }
  if (wanted.state && regulator.reference != nullptr) calls.state = CStateReader(regulator.reference->State());
  return calls;
}

void CObservation::Observe() {
  time = application.Time();
  for (std::size_t i = 0; i < regulators.size(); ++i) {
    const runtime::CInstrumentHandle& instrument = regulators[i].instrument;
    for (std::size_t pane = 0; pane < rows[i].panes.size(); ++pane) rows[i].panes[pane] = instrument.Pane(pane);
    rows[i].inHand = hands && !instrument.Regulates();
    ObserveBand(instrument, calls[i], &rows[i]);
    calls[i].state.Read(instrument, &rows[i].state);
  }
}

void CObservation::ObserveBand(const runtime::CInstrumentHandle& instrument, const TCalls& called, TObserved* row) {
  double sides[2] = {};
  bool known = !called.band.empty();
  for (std::size_t side = 0; known && side < called.band.size(); ++side) {
    arguments.assign(1, 0.0);
    known = instrument.Call(called.band[side], &arguments);
    sides[side] = arguments[0];
  }
  row->band.reset();
  if (known) row->band = TBand{sides[0], sides[1]};
}

}  // namespace workbench
