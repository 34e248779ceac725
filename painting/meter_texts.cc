#include "painting/meter_texts.h"

#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "runtime/instruments/meters.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

constexpr std::uint32_t kDescriptionCapacity = 255;

// The modes that the definition gives, by the block in which they stand: a pane's
// section, or empty for a meter's own.
std::set<std::string> ModesGiven(const runtime::CInstrumentHandle& instrument) {
  std::set<std::string> blocks;
  for (const runtime::TDefinitionEntry& entry : instrument.Definition()) {
    if (entry.keyword == "mode") blocks.insert(entry.block);
  }
  return blocks;
}

// A pane is called as its class describes it: the descriptions are registered before
// the panes, each in front of the one before.
std::u16string PaneName(const view::CNodeView& instrument, const runtime::TPaneName& pane) {
  std::vector<std::u16string> descriptions;
  for (const vcont::CStaticText& text : runtime::TextsOf(instrument)) {
    descriptions.emplace_back(text.text != nullptr ? runtime::WideView(kDescriptionCapacity, text.text) : u"");
  }
  if (descriptions.size() != std::size(runtime::kPaneNames)) return runtime::Utf16(pane.word);
  return descriptions[descriptions.size() - 1 - pane.pane];
}

}  // namespace

TMeterTexts TextsOf(const runtime::CInstrumentHandle& instrument, double time,
                    const std::function<double(const gaugekit::CMeter&)>& stepOf) {
  const std::set<std::string> modes = ModesGiven(instrument);
  TMeterTexts texts;
  const auto add = [&](const gaugekit::CMeter& meter, std::u16string name, const std::string& unit,
                       const std::string& block) {
    texts[&meter] = {std::move(name), runtime::Utf16(unit), modes.contains(block), time, stepOf(meter)};
  };
  const view::CNodeView& view = *instrument.View();
  if (instrument.IsMeter()) {
    add(static_cast<const gaugekit::CMeter&>(view), runtime::Utf16(instrument.Name()), instrument.QuantityUnit(), "");
  }
  for (std::size_t i = 0; i < instrument.PaneCount(); ++i) {
    const runtime::TPaneName& pane = runtime::kPaneNames[i];
    add(*runtime::MeterOf(view, pane.pane), PaneName(view, pane),
        pane.pane == runtime::kOutputPane ? instrument.OutputUnit() : instrument.QuantityUnit(),
        std::string(pane.column) + "_section");
  }
  return texts;
}

}  // namespace painting
