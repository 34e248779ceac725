#include "workbench/run/panel_facts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "workbench/run/observation.h"
#include "workbench/run/state_reader.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr char kIdentifying[] = "identifying";  // a column of a class that learns

const char* WordFor(ERegulatorKind kind) {
  switch (kind) {
    case ERegulatorKind::kTwoState:
      return "twoState";
    case ERegulatorKind::kIncremental:
      return "step";
    case ERegulatorKind::kContinuous:
      break;
  }
  return "continuous";
}

// Whether a regulator has learnt: what it answers before means nothing.
class CLearning {
 public:
  explicit CLearning(const TLearningProcedures& procedures)
      : whileTrue(procedures.whileTrue), always(procedures.always) {}

  bool HasLearnt(const runtime::CInstrumentHandle& instrument) {
    if (hasLearnt) return true;
    answer.assign(1, 0.0);
    hasLearnt = instrument.Call(whileTrue, &answer) && answer[0] != 0.0;
    answer.assign(2, 0.0);
    hasLearnt = hasLearnt || instrument.Call(always, &answer);
    return hasLearnt;
  }

 private:
  runtime::CProcedureName whileTrue;
  runtime::CProcedureName always;
  std::vector<double> answer;
  bool hasLearnt = false;
};

// The item that the entry consists of, outside the definition's blocks.
std::optional<runtime::TItem> ItemOf(const runtime::CApplication& application,
                                     const std::vector<runtime::TDefinitionEntry>& definition,
                                     std::string_view keyword) {
  for (const runtime::TDefinitionEntry& entry : definition) {
    runtime::TItem item;
    std::string ignored;
    if (!entry.block.empty() || entry.keyword != keyword) continue;
    if (application.FindItem(std::string(Trim(entry.value)), &item, &ignored)) return item;
  }
  return std::nullopt;
}

panel::TFacts FactsOf(const runtime::CApplication& application, const runtime::CInstrumentHandle& instrument,
                      const CReference* reference) {
  panel::TFacts facts;
  facts.wish = ItemOf(application, instrument.Definition(), "wish_value");
  facts.value = ItemOf(application, instrument.Definition(), "expression");
  facts.kind = instrument.IsMeter() ? "meter" : WordFor(KindOf(instrument));
  if (reference == nullptr) return facts;
  for (const TFinding& finding : reference->Findings(instrument.Definition())) {
    if (!finding.note->warning) facts.words.push_back(runtime::Translated(finding.note->text));
  }
  std::vector<runtime::TStateColumn> columns;
  for (const TSettingColumn& setting : reference->Settings()) {
    facts.settings.push_back({setting.column.name, "", setting.isTruth, setting.words});
    columns.push_back(setting.column);
  }
  // The other columns of its state are what it learns.
  const bool learns = !reference->Learning().whileTrue.empty();
  for (const runtime::TStateColumn& column : reference->State()) {
    const auto isSetting = [&](const panel::TFact& setting) { return setting.name == column.name; };
    if (!learns || std::any_of(facts.settings.begin(), facts.settings.end(), isSetting)) continue;
    if (column.name == kIdentifying) facts.identifies = facts.learnt.size();
    facts.learnt.push_back({column.name, "", column.name == kIdentifying, {}});
    columns.push_back(column);
  }
  // A setting that an operator may set goes by the name that it is set by.
  for (std::size_t i = 0; i < facts.settings.size(); ++i) {
    for (const panel::TParameter& parameter : reference->Set()) {
      if (parameter.reads == columns[i].procedure && parameter.argument == columns[i].argument) {
        facts.settings[i].name = parameter.name;
      }
    }
  }
  if (columns.empty()) return facts;
  facts.read = [instrument, reader = CStateReader(columns), learning = CLearning(reference->Learning()),
                settings = facts.settings.size()](std::vector<double>* values) mutable {
    reader.Read(instrument, values);
    if (learning.HasLearnt(instrument)) return;
    std::fill(values->begin() + static_cast<std::ptrdiff_t>(settings), values->end(), std::nan(""));
  };
  return facts;
}

}  // namespace

std::vector<panel::TFacts> FactsOf(const runtime::CApplication& application, const TReferences& references) {
  std::vector<panel::TFacts> facts;
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    facts.push_back(FactsOf(application, instrument, ReferenceOf(references, instrument.ClassName())));
  }
  return facts;
}

}  // namespace workbench
