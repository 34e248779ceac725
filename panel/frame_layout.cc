#include "panel/frame_layout.h"

#include <algorithm>

#include "panel/frame.h"

namespace panel {

namespace {

constexpr std::size_t kMostOfArray = 64;

constexpr const char* kNumbersNow[] = {".wish", ".value", ".output"};  // from kWishNow on

std::vector<TShownItem> ShownItems(const runtime::CApplication& application) {
  std::vector<TShownItem> items;
  for (std::size_t index = 0; index < application.ElementCount(); ++index) {
    const runtime::TElement element = application.Element(index);
    const std::size_t count = element.length == 0 ? 1 : std::min(element.length, kMostOfArray);
    for (std::size_t i = 0; i < count; ++i) {
      const std::string name = element.length == 0 ? element.name : element.name + "[" + std::to_string(i) + "]";
      items.push_back({{index, i}, name, element.unit, element.isBoolean, element.isInteger});
    }
  }
  return items;
}

// The outputs of the site that are among the instrument's.
std::vector<std::size_t> OutputsOf(const runtime::CInstrumentHandle& instrument, const CSite* site) {
  std::vector<std::size_t> outputs;
  const std::vector<runtime::TItem>& own = instrument.OutputItems();
  for (std::size_t i = 0; site != nullptr && i < site->OutputCount(); ++i) {
    if (std::find(own.begin(), own.end(), site->OutputItem(i)) != own.end()) outputs.push_back(i);
  }
  return outputs;
}

}  // namespace

TFrameLayout::TFrameLayout(const runtime::CApplication& application, const CSite* site, const CAlarms& allAlarms,
                           const std::vector<TFacts>& facts, std::size_t paneNumbers)
    : items(ShownItems(application)), alarms(allAlarms.Count()) {
  for (std::size_t i = 0; site != nullptr && i < site->InputCount(); ++i) inputs.push_back(site->InputName(i));
  outputs = site != nullptr ? site->OutputCount() : 0;
  itemsAt = kHeader;
  inputsAt = itemsAt + items.size();
  outputsAt = inputsAt + inputs.size() * kOfInput;
  instrumentsAt = outputsAt + outputs * kOfOutput;
  alarmsAt = instrumentsAt + application.InstrumentCount() * kOfInstrument;
  panesAt = alarmsAt + alarms * kOfAlarm;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application.Instrument(i);
    const std::vector<TFact>& learnt = facts[i].learnt;
    instruments.push_back({instrument.Name(), instrument.PaneCount() != 0, OutputsOf(instrument, site),
                           facts[i].settings.size(), learnt.empty() ? 0 : learnt.size() + 1, panesAt});
    panesAt += instruments.back().settings + instruments.back().learnt;
  }
  size = panesAt + paneNumbers;
}

std::optional<std::size_t> TFrameLayout::ShownIndex(runtime::TItem item) const {
  const auto found =
      std::find_if(items.begin(), items.end(), [&](const TShownItem& shown) { return shown.item == item; });
  if (found == items.end()) return std::nullopt;
  return static_cast<std::size_t>(found - items.begin());
}

std::optional<std::size_t> TFrameLayout::IndexOf(const std::string& name) const {
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (items[i].name == name) return itemsAt + i;
  }
  for (std::size_t i = 0; i < instruments.size(); ++i) {
    if (!name.starts_with(instruments[i].name + ".")) continue;
    for (std::size_t number = kWishNow; number <= kOutputNow; ++number) {
      const bool isThere = instruments[i].hasPanes || number == kValueNow;
      if (isThere && name == instruments[i].name + kNumbersNow[number]) {
        return instrumentsAt + i * kOfInstrument + number;
      }
    }
  }
  return std::nullopt;
}

std::vector<std::size_t> TFrameLayout::Trends() const {
  std::vector<std::size_t> indices;
  for (std::size_t i = 0; i < items.size(); ++i) indices.push_back(itemsAt + i);
  for (std::size_t i = 0; i < instruments.size(); ++i) {
    for (std::size_t number = kWishNow; number <= kOutputNow; ++number) {
      if (instruments[i].hasPanes || number == kValueNow) indices.push_back(instrumentsAt + i * kOfInstrument + number);
    }
  }
  return indices;
}

}  // namespace panel
