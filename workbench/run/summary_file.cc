#include "workbench/run/summary_file.h"

#include <utility>

#include "workbench/run/figure_names.h"

namespace workbench {
namespace {

using json::CValue;

CValue Optional(const std::string& text) { return text.empty() ? CValue() : CValue(text); }

void AddFigures(ERegulatorKind kind, const TFigures& figures, CValue* object) {
  for (const TFigureName& named : FigureNames(kind)) {
    const std::optional<double>& figure = figures.*named.figure;
    object->Set(named.name, figure ? CValue(*figure) : CValue());
  }
}

CValue FiguresValue(ERegulatorKind kind, const TFigures& figures) {
  CValue object;
  AddFigures(kind, figures, &object);
  return object;
}

CValue SettingsValue(const std::vector<TSetting>& settings) {
  CValue object = CValue::Object();
  for (const TSetting& setting : settings) {
    object.Set(setting.name, setting.Value());
  }
  return object;
}

CValue InstrumentValue(const CRegulatorWatch::TSummary& summary) {
  CValue windows = CValue::Array();
  for (const TWindow& window : summary.windows) {
    CValue row = {
        {"name", window.name}, {"from", window.from}, {"to", window.to}, {"kind", window.isWish ? "wish" : "window"}};
    AddFigures(summary.kind, window.figures, &row);
    windows.Append(std::move(row));
  }
  CValue start = SettingsValue(summary.start);
  CValue value = {{"class", summary.instrument.ClassName()},
                  {"law", start.Member(kLaw)},
                  {"start", std::move(start)},
                  {"end", SettingsValue(summary.end)},
                  {"whole", FiguresValue(summary.kind, summary.whole)},
                  {"automatic", FiguresValue(summary.kind, summary.automatic)},
                  {"windows", std::move(windows)}};
  if (summary.furtherWindows > 0) value.Set("further_windows", summary.furtherWindows);
  return value;
}

CValue RunValue(const TProvenance& provenance) {
  CValue options = CValue::Object();
  for (const auto& [name, value] : provenance.options) options.Set(name, value);
  CValue set = CValue::Object();
  for (const auto& [name, value] : provenance.set) set.Set(name, value);
  CValue read = CValue::Object();
  for (const auto& [file, hash] : provenance.filesRead) read.Set(file, hash);
  return {{"options", std::move(options)},
          {"set", std::move(set)},
          {"seed", provenance.seed},
          {"input", Optional(provenance.input)},
          {"plugin", {{"path", provenance.plugin}, {"sha256", Optional(provenance.pluginHash)}}},
          {"files", {{"read", std::move(read)}, {"written", CValue::ArrayOf(provenance.filesWritten)}}},
          {"text", provenance.textHash}};
}

}  // namespace

CValue SummaryValue(const runtime::CApplication& application, const CRegulatorWatch& watch,
                    const TProvenance& provenance) {
  CValue instruments = CValue::Object();
  for (std::size_t i = 0; i < watch.Count(); ++i) {
    const CRegulatorWatch::TSummary summary = watch.Summary(i);
    instruments.Add(summary.instrument.Name(), InstrumentValue(summary));
  }
  return {{"schema", kSummarySchema},       {"application", application.Name()},
          {"period", application.Period()}, {"periods", application.PeriodsDone()},
          {"run", RunValue(provenance)},    {"instruments", std::move(instruments)}};
}

}  // namespace workbench
