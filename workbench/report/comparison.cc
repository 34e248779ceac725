#include "workbench/report/comparison.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <utility>

#include "plant/plant.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::size_t kMostNames = 5;              // of columns in a message
constexpr std::size_t kMostDifferences = 30;       // lines of settings
constexpr std::size_t kLongestSummary = 64 << 20;  // bytes

// The columns of a trace that a comparison reads, in the order of the plot's curves.
constexpr struct {
  runtime::EPane pane;
  bool holds;
} kCompared[] = {{runtime::kWishPane, true}, {runtime::kValuePane, false}, {runtime::kOutputPane, true}};

// Two numbers that differ, with all their digits where four look the same.
std::pair<std::string, std::string> Apart(double here, double there) {
  std::pair<std::string, std::string> shown{Significant(here), Significant(there)};
  if (shown.first == shown.second) shown = {json::CValue(here).Text(), json::CValue(there).Text()};
  return shown;
}

std::string ColumnOf(const runtime::CInstrumentHandle& instrument, runtime::EPane pane) {
  for (const runtime::TPaneName& named : runtime::kPaneNames) {
    if (named.pane == pane) return instrument.Name() + "." + named.column;
  }
  return "";
}

// "x, y and 3 more".
std::string Some(const std::vector<std::string>& names) {
  std::string text;
  const std::size_t shown = std::min(names.size(), kMostNames);
  for (std::size_t i = 0; i < shown; ++i) text += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > shown) text += " and " + std::to_string(names.size() - shown) + " more";
  return text;
}

// What a trace of the application has in any case.
std::set<std::string> ColumnsOf(const runtime::CApplication& application) {
  std::set<std::string> columns = {"time"};
  // More than a trace may have are not looked for.
  for (std::size_t i = 0; i < application.ElementCount() && columns.size() <= kMostCsvFields; ++i) {
    const runtime::TElement element = application.Element(i);
    if (element.length == 0) columns.insert(element.name);
    for (std::size_t item = 0; item < element.length; ++item) {
      columns.insert(element.name + "[" + std::to_string(item) + "]");
    }
  }
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application.Instrument(i);
    if (instrument.IsMeter()) columns.insert(instrument.Name() + ".value");
    if (instrument.PaneCount() == 0) continue;
    for (const runtime::TPaneName& named : runtime::kPaneNames) {
      columns.insert(instrument.Name() + "." + named.column);
    }
  }
  return columns;
}

}  // namespace

std::string SummaryBeside(const std::string& trace) {
  return std::filesystem::path(trace).replace_extension(".json").string();
}

bool CComparison::Open(const std::string& fileName, const runtime::CApplication& theApplication,
                       const CObservation& theObservation, std::size_t shown, bool any, std::string* error) {
  reader = CCsvReader::Open(fileName, error);
  if (!reader) return false;
  const std::ptrdiff_t time = reader->Column("time");
  if (time < 0) {
    *error = reader->Complaint("expected a column \"time\", in seconds");
    return false;
  }
  application = &theApplication;
  observation = &theObservation;
  name = std::filesystem::path(fileName).filename().string();
  timeColumn = static_cast<std::size_t>(time);
  if (!CheckColumns(fileName, any, error)) return false;
  compared.resize(shown);
  for (std::size_t i = 0; i < shown; ++i) Find(i);
  if (curves.empty() && shown == observation->Regulators().size()) {
    *error = reader->Complaint("no column is a pane of this application's regulators, as NAME.value");
    return false;
  }
  if (!ReadThrough(error)) return false;
  ReadSummary(SummaryBeside(fileName));
  reader = CCsvReader::Open(fileName, error);
  return reader != nullptr && Next(error) != CCsvReader::kBad;
}

bool CComparison::CheckColumns(const std::string& path, bool any, std::string* error) const {
  if (any) return true;
  const std::set<std::string> own = ColumnsOf(*application);
  std::vector<std::string> missing;
  std::vector<std::string> unknown;
  for (const std::string& column : own) {
    if (reader->Column(column) < 0) missing.push_back(column);
  }
  for (const std::string& column : reader->Header()) {
    if (own.contains(column) || plant::IsPlantColumn(column)) continue;
    // What was learnt is traced on demand.
    const std::size_t dot = column.find('.');
    if (dot != std::string::npos && own.contains(column.substr(0, dot) + ".output")) continue;
    unknown.push_back(column);
  }
  if (missing.empty() && unknown.empty()) return true;
  *error = path + ": is the trace of another application: it has";
  if (!missing.empty()) *error += " no column " + Some(missing);
  if (!unknown.empty()) *error += (missing.empty() ? "" : ", but") + std::string(" a column ") + Some(unknown);
  *error += "; --compare-any compares what both have";
  return false;
}

void CComparison::Find(std::size_t index) {
  const runtime::CInstrumentHandle& instrument = observation->Regulators()[index].instrument;
  const std::size_t panel = plot.AddPanel("", "", 1);
  TCompared found;
  TSource* const sources[] = {&found.wish, &found.value, &found.output};
  bool complete = true;
  for (std::size_t i = 0; i < std::size(kCompared); ++i) {
    const std::string column = ColumnOf(instrument, kCompared[i].pane);
    const std::ptrdiff_t at = reader->Column(column);
    complete = complete && at >= 0;
    if (at < 0) continue;
    sources[i]->column = static_cast<std::size_t>(at);
    plotted.push_back(sources[i]->column);
    curves.emplace(column, curves.size());
    plot.AddCurve(panel, column, 0, kCompared[i].holds);
  }
  if (!complete) return;
  found.wish.element = ElementOf(instrument, "wish_value");
  found.value.element = ElementOf(instrument, "expression");
  compared[index] = found;
}

// The column of the element that is the whole of a definition's entry.
std::optional<std::size_t> CComparison::ElementOf(const runtime::CInstrumentHandle& instrument,
                                                  const char* entry) const {
  for (const runtime::TDefinitionEntry& given : instrument.Definition()) {
    if (!given.block.empty() || given.keyword != entry) continue;
    const std::ptrdiff_t column = reader->Column(std::string(Trim(given.value)));
    if (column >= 0) return static_cast<std::size_t>(column);
  }
  return std::nullopt;
}

CCsvReader::EOutcome CComparison::Next(std::string* error) {
  const CCsvReader::EOutcome outcome = reader->Next(error);
  ahead = outcome == CCsvReader::kRow;
  if (!ahead) return outcome;
  if (!reader->Later(timeColumn, &rowTime, error)) return CCsvReader::kBad;
  const auto read = [&](std::size_t column) { return reader->Number(column, &row[column], error); };
  for (const std::size_t column : plotted) {
    if (!read(column)) return CCsvReader::kBad;
  }
  for (const auto& regulator : compared) {
    if (!regulator) continue;
    for (const auto& element : {regulator->wish.element, regulator->value.element}) {
      if (element && !read(*element)) return CCsvReader::kBad;
    }
  }
  return outcome;
}

bool CComparison::ReadThrough(std::string* error) {
  row.assign(reader->Header().size(), 0.0);
  std::vector<double> sample(plotted.size());
  CCsvReader::EOutcome outcome = CCsvReader::kRow;
  double before = 0.0;
  while ((outcome = Next(error)) == CCsvReader::kRow) {
    for (std::size_t i = 0; i < plotted.size(); ++i) sample[i] = row[plotted[i]];
    plot.Feed(rowTime, sample);
    if (++rows <= 2) spacing = rowTime - before;
    before = rowTime;
  }
  rowTime = -std::numeric_limits<double>::infinity();
  return outcome == CCsvReader::kEnd;
}

void CComparison::ReadSummary(const std::string& path) {
  const std::string shownName = std::filesystem::path(path).filename().string();
  aboutSummary = "there is no summary " + shownName + " beside the trace";
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return;
  aboutSummary = shownName + ", beside the trace, is not the summary of its run";
  if (std::filesystem::file_size(path, ignored) > kLongestSummary) return;
  std::ifstream file(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::optional<json::CValue> read = json::CValue::Parse(text);
  if (!read || read->Member("schema").Number() != 1.0) return;
  for (const json::CValue& written : read->Member("run").Member("files").Member("written").Elements()) {
    const std::optional<std::string> told = written.String();
    if (told && std::filesystem::path(*told).filename() == name) summary = *read;
  }
}

void CComparison::Observe() {
  if (!failure.empty()) return;
  const double now = observation->Time();
  const double forgiven = runtime::kForgivenRounding * application->Period();
  while (ahead && rowTime < now - forgiven) {
    if (Next(&failure) == CCsvReader::kBad) return;
  }
  if (!ahead || rowTime > now + forgiven) return;
  for (std::size_t i = 0; i < compared.size(); ++i) {
    if (compared[i]) Compare(i);
  }
  ++commonRows;
  lastCommon = now;
}

// What the trace shows, unless that is an end of the pane's range and its element
// lay beyond.
double CComparison::Measured(const TSource& source, const runtime::TPane& pane) const {
  const double shown = row[source.column];
  if (!source.element) return shown;
  const double element = row[*source.element];
  const bool cut = (shown == pane.rangeTo && element > shown) || (shown == pane.rangeFrom && element < shown);
  return cut ? element : shown;
}

void CComparison::TSide::Feed(TSample sample) {
  sample.outputBefore = lastOutput;
  lastOutput = sample.output;
  metrics.Feed(sample, wish.Follow(sample.wish, sample.value));
}

void CComparison::Compare(std::size_t index) {
  TCompared& sides = *compared[index];
  const TObserved& here = observation->Rows()[index];
  sides.here.Feed(here.Sample(rowTime));
  const double wish = Measured(sides.wish, here.panes[runtime::kWishPane]);
  const double value = Measured(sides.value, here.panes[runtime::kValuePane]);
  const double output = row[sides.output.column];
  sides.there.Feed({rowTime, wish, value, output, std::nullopt, wish != row[sides.wish.column],
                    value != row[sides.value.column], here.IsAtEnd(output)});
}

std::optional<CComparison::TCommon> CComparison::Common(std::size_t index) const {
  if (index >= compared.size() || !compared[index] || commonRows == 0) return std::nullopt;
  const ERegulatorKind kind = observation->Regulators()[index].kind;
  const double rowSeconds = lastCommon / static_cast<double>(commonRows);
  return TCommon{compared[index]->here.metrics.Figures(kind, rowSeconds),
                 compared[index]->there.metrics.Figures(kind, rowSeconds), rowSeconds};
}

std::vector<std::string> CComparison::Differences(const CRegulatorWatch& watch, const TProvenance& provenance) const {
  std::vector<std::string> lines = Found(watch, provenance);
  for (std::string& line : lines) line = runtime::Translated(std::move(line));
  return lines;
}

std::vector<std::string> CComparison::Found(const CRegulatorWatch& watch, const TProvenance& provenance) const {
  std::vector<std::string> lines;
  const auto there = [](const std::string& text) { return ", there " + text; };
  const auto seconds = [&there](double value, double other) {
    const auto [shown, otherShown] = Apart(value, other);
    return shown + " s" + there(otherShown + " s");
  };
  if (plot.LastTime() != application->Time()) {
    lines.push_back("duration " + seconds(application->Time(), plot.LastTime()));
  }
  const double period = summary.Member("period").Number().value_or(spacing);
  if (std::fabs(period - application->Period()) > runtime::kForgivenRounding * application->Period()) {
    lines.push_back((summary.IsNull() ? "a row each " : "a period of ") + seconds(application->Period(), period));
  }
  lines.push_back(Count(application->PeriodsDone(), "row") + there(std::to_string(rows)) + "; " +
                  std::to_string(commonRows) + " of the same time are measured");
  if (summary.IsNull()) {
    lines.push_back("the application's text and parameters there are not known: " + aboutSummary);
    return lines;
  }
  const json::CValue run = summary.Member("run");
  if (run.Member("text").String() != provenance.textHash) lines.emplace_back("the application's text differs");
  json::CValue set = json::CValue::Object();
  for (const auto& [element, value] : provenance.set) set.Set(element, value);
  if (run.Member("set").Text() != set.Text()) lines.push_back("set " + set.Text() + there(run.Member("set").Text()));
  const std::string seed = std::to_string(provenance.seed);
  if (run.Member("seed").Text() != seed) lines.push_back("seed " + seed + there(run.Member("seed").Text()));
  if (run.Member("plugin").Member("sha256").String() != provenance.pluginHash) lines.emplace_back("another plug-in");
  const json::CValue instruments = summary.Member("instruments");
  const std::size_t most = lines.size() + kMostDifferences;
  for (std::size_t i = 0; i < compared.size() && lines.size() < most; ++i) {
    const CRegulatorWatch::TSummary here = watch.Summary(i);
    const json::CValue other = instruments.Member(here.instrument.Name());
    AddSettings(here, other, &lines);
  }
  if (lines.size() >= most) lines.emplace_back("…");
  return lines;
}

// At the end only what was the same at the start.
void CComparison::AddSettings(const CRegulatorWatch::TSummary& here, const json::CValue& there,
                              std::vector<std::string>* lines) {
  std::set<std::string> told;
  const auto add = [&](const std::vector<TSetting>& settings, const json::CValue& others, const char* when) {
    for (const TSetting& setting : settings) {
      const json::CValue other = others.Member(setting.name);
      if (other.Text() == setting.Value().Text() || !told.insert(setting.name).second) continue;
      std::pair<std::string, std::string> shown{setting.Text(),
                                                other.IsNull() ? "none" : other.String().value_or(other.Text())};
      const std::optional<double> number = other.Number();
      if (number && setting.kind == TSetting::kNumber) shown = Apart(setting.number, *number);
      lines->push_back(here.instrument.Name() + ": " + setting.name + " " + shown.first + when + ", there " +
                       shown.second);
    }
  };
  add(here.start, there.Member("start"), "");
  add(here.end, there.Member("end"), " at the end");
}

}  // namespace workbench
