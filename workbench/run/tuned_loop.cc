#include "workbench/run/tuned_loop.h"

#include <algorithm>
#include <vector>

#include "workbench/run/observation.h"
#include "workbench/run/settings.h"
#include "workbench/text.h"

namespace workbench {
namespace {

std::string NameOf(const runtime::CApplication& application, const runtime::TItem& item) {
  const runtime::TElement element = application.Element(item.element);
  return element.name + (element.length == 0 ? "" : "[" + std::to_string(item.item) + "]");
}

}  // namespace

TLoopSettings LoopSettingsOf(const runtime::CInstrumentHandle& instrument, const TReferences& references) {
  TLoopSettings now;
  const CReference* const reference = ReferenceOf(references, instrument.ClassName());
  for (const TSetting& setting : SettingsOf({instrument, KindOf(instrument), reference})) {
    if (setting.name == kLaw) now.law = setting.word;
    if (setting.name == "r0") now.r0 = setting.number;
    if (setting.name == "tI") now.tI = setting.number;
    if (setting.name == "tD") now.tD = setting.number;
    if (setting.name == "derivation_delay") now.lag = setting.number;
    if (setting.name == "adaptive") now.isAdaptive = setting.number != 0.0;
  }
  if (!now.law.ends_with("Delay")) now.lag.reset();
  return now;
}

std::optional<TTunedLoop> LoopOf(const runtime::CApplication& application, const TReferences& references,
                                 const std::string& file, const std::string& instrument, std::string* error) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    names.push_back(application.Instrument(i).Name());
    if (names.back() != instrument) continue;
    TTunedLoop loop{application.Instrument(i)};
    if (loop.instrument.PaneCount() == 0 || KindOf(loop.instrument) != ERegulatorKind::kContinuous) {
      *error = instrument + " has no continuous output, which alone can be tuned";
      return std::nullopt;
    }
    const std::vector<runtime::TItem>& outputs = loop.instrument.OutputItems();
    if (outputs.size() != 1) {
      *error = instrument + " has no data element for its output, by which a record tells it";
      return std::nullopt;
    }
    loop.output = outputs.front();
    loop.outputName = NameOf(application, loop.output);
    for (const runtime::TDefinitionEntry& entry : loop.instrument.Definition()) {
      std::string problem;
      runtime::TItem item;
      if (!entry.block.empty()) continue;
      if (entry.keyword == "inverse") loop.isInverse = true;
      if (entry.keyword != "expression") continue;
      if (!application.FindItem(std::string(Trim(entry.value)), &item, &problem)) continue;
      loop.value = item;
      loop.valueName = NameOf(application, item);
    }
    loop.now = LoopSettingsOf(loop.instrument, references);
    loop.raises = (loop.now.r0 >= 0.0) != loop.isInverse;
    return loop;
  }
  *error = file + ": there is no instrument '" + instrument + "'" + runtime::CBlockText::MeantBy(instrument, names);
  return std::nullopt;
}

}  // namespace workbench
