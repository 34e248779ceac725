#include "workbench/run/quantity.h"

#include <algorithm>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

using runtime::CApplication;
using runtime::CInstrumentHandle;
using runtime::TElement;

constexpr char kMeterColumn[] = ".value";

TQuantity ElementQuantity(const CApplication& application, std::size_t index, std::size_t item) {
  const TElement element = application.Element(index);
  const std::string name = element.length == 0 ? element.name : element.name + "[" + std::to_string(item) + "]";
  const bool moves = !element.isBoolean && !element.isInteger && !element.isOutput;
  return {name, element.unit, !moves, TQuantity::kElement, index, item};
}

TQuantity PaneQuantity(const CObservation& observation, std::size_t regulator, const runtime::TPaneName& pane) {
  const CInstrumentHandle& instrument = observation.Regulators()[regulator].instrument;
  return {instrument.Name() + "." + pane.column,
          pane.pane == runtime::kOutputPane ? instrument.OutputUnit() : instrument.QuantityUnit(),
          pane.pane != runtime::kValuePane,
          TQuantity::kPane,
          regulator,
          pane.pane};
}

TQuantity MeterQuantity(const CInstrumentHandle& instrument, std::size_t index) {
  return {instrument.Name() + kMeterColumn, instrument.QuantityUnit(), false, TQuantity::kMeter, index, 0};
}

// Those of panes and meters, by what looks at each; it answers whether to go on.
template <typename TLook>
void WalkShown(const CObservation& observation, const TLook& look) {
  const CApplication& application = observation.Application();
  std::size_t regulator = 0;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const CInstrumentHandle instrument = application.Instrument(i);
    if (instrument.IsMeter()) {
      if (!look(MeterQuantity(instrument, i))) return;
    } else if (instrument.PaneCount() > 0) {
      for (const runtime::TPaneName& pane : runtime::kPaneNames) {
        if (!look(PaneQuantity(observation, regulator, pane))) return;
      }
      ++regulator;
    }
  }
}

// Names that might have been meant.
std::string NearNames(const CObservation& observation, const std::string& name) {
  const CApplication& application = observation.Application();
  std::vector<std::string> known;
  for (std::size_t i = 0; i < application.ElementCount(); ++i) known.push_back(application.Element(i).name);
  WalkShown(observation, [&](const TQuantity& shown) {
    known.push_back(shown.name);
    return true;
  });
  std::string text;
  for (const std::string& near : runtime::NearNames(name.substr(0, name.find('[')), known)) {
    text.append(text.empty() ? "" : ", ").append(near);
  }
  return text;
}

}  // namespace

double TQuantity::Value(const CObservation& observation) const {
  const CApplication& application = observation.Application();
  if (kind == kElement) return application.ElementValue(number, part);
  if (kind == kMeter) return application.Instrument(number).MeterValue();
  const TObserved& row = observation.Rows()[number];
  return part == runtime::kWishPane ? row.Wish() : part == runtime::kValuePane ? row.Value() : row.Output();
}

std::optional<TQuantity> FindQuantity(const CObservation& observation, const std::string& name, std::string* error) {
  runtime::TItem item;
  if (observation.Application().FindItem(name, &item, error)) {
    return ElementQuantity(observation.Application(), item.element, item.item);
  }
  std::optional<TQuantity> found;
  WalkShown(observation, [&](TQuantity shown) {
    if (shown.name == name) found = std::move(shown);
    return !found;
  });
  if (found) return found;
  const std::string near = NearNames(observation, name);
  *error = "'" + name + "': " + *error + ", and no such pane" + (near.empty() ? "" : "; near are " + near);
  return std::nullopt;
}

std::vector<TQuantity> QuantitiesOf(const CObservation& observation, std::size_t most, std::uint64_t* further) {
  const CApplication& application = observation.Application();
  std::vector<TQuantity> all;
  *further = 0;
  for (std::size_t index = 0; index < application.ElementCount(); ++index) {
    const std::size_t count = std::max<std::size_t>(application.Element(index).length, 1);
    const std::size_t taken = std::min(count, most - all.size());
    for (std::size_t item = 0; item < taken; ++item) all.push_back(ElementQuantity(application, index, item));
    *further += count - taken;
  }
  WalkShown(observation, [&](TQuantity shown) {
    if (all.size() < most) {
      all.push_back(std::move(shown));
    } else {
      ++*further;
    }
    return true;
  });
  return all;
}

bool ReadCurves(const CObservation& observation, const std::string& list, TCurves* curves, std::string* error) {
  for (const std::string& panel : Split(list, ';')) {
    curves->emplace_back();
    for (const std::string& name : Split(panel, ',')) {
      if (name.empty()) {
        *error = "--curves: expected names as \"pos,open;heat\", found \"" + list + "\"";
        return false;
      }
      std::optional<TQuantity> found = FindQuantity(observation, name, error);
      if (!found) {
        *error = "--curves: " + *error;
        return false;
      }
      curves->back().push_back(*std::move(found));
    }
  }
  return true;
}

std::string CommonUnit(const std::vector<TQuantity>& panel) {
  const auto differs = [&](const TQuantity& quantity) { return quantity.unit != panel.front().unit; };
  return std::any_of(panel.begin(), panel.end(), differs) ? "" : panel.front().unit;
}

}  // namespace workbench
