// `loopbox check`: what is wrong with an application, and what is worth knowing
// before it runs.
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fmu/units.h"
#include "panel/panel_reader.h"
#include "plant/plant.h"
#include "runtime/runtime.h"
#include "study/study_reader.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/loop_doubts.h"
#include "workbench/commands/run_panel.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/run/whole_figures.h"
#include "workbench/text.h"

namespace workbench {
namespace {

// Whether the definition has the entry, outside its blocks.
bool Has(const runtime::CInstrumentHandle& instrument, std::string_view keyword) {
  const std::vector<runtime::TDefinitionEntry> entries = instrument.Definition();
  return std::any_of(entries.begin(), entries.end(), [keyword](const runtime::TDefinitionEntry& entry) {
    return entry.block.empty() && entry.keyword == keyword;
  });
}

// Whether it is a continuous regulator of which nothing says what it starts from. One
// that tracks may do so from the first period on.
bool StartsFromZeros(const runtime::CInstrumentHandle& instrument) {
  const std::vector<runtime::TNamed> events = instrument.Events();
  return instrument.PaneCount() != 0 && !events.empty() && events[0].name.ends_with("__R") &&
         !Has(instrument, "start") && !Has(instrument, "track");
}

// What those will put out in the first period, by their names, unless they measure
// 0. One period of a second reading tells, of which nothing is seen or kept.
std::map<std::string, double> FirstOutputs(const runtime::CApplication& checked, runtime::TReadOptions reading,
                                           runtime::CPlugin& plugin) {
  std::set<std::size_t> from;
  for (std::size_t index = 0; index < checked.InstrumentCount(); ++index) {
    if (StartsFromZeros(checked.Instrument(index))) from.insert(index);
  }
  std::map<std::string, double> outputs;
  if (from.empty()) return outputs;
  reading.keepsLearnt = false;
  reading.blocks.clear();
  std::vector<runtime::TDiagnostic> dropped;
  const auto trial = ReadApplication(reading, plugin, &dropped);
  if (!trial || !trial->Step()) return outputs;
  for (const std::size_t index : from) {
    const runtime::CInstrumentHandle instrument = trial->Instrument(index);
    if (instrument.Pane(runtime::kValuePane).value == 0.0) continue;
    outputs.emplace(instrument.Name(), instrument.Pane(runtime::kOutputPane).value);
  }
  return outputs;
}

class CChecker {
 public:
  // All outlive the checker.
  CChecker(const runtime::CApplication& application, const TReferences& references,
           const std::map<std::string, double>& firstOutputs);

  void CheckConnections(const plant::TConnections& connections);
  void CheckDuration();
  void CheckProcess();
  // Prints what is worth knowing of an instrument; errors and warnings, with their
  // places, go to standard error.
  void Check(const runtime::CInstrumentHandle& instrument);
  std::uint64_t Warnings() const { return warnings; }
  std::uint64_t Errors() const { return errors; }

 private:
  void CheckActing(const runtime::CInstrumentHandle& instrument);
  void CheckRanges(const runtime::CInstrumentHandle& instrument);
  void CheckWritten(const runtime::CInstrumentHandle& instrument);
  void CheckReceivers(const runtime::CInstrumentHandle& instrument);
  void CheckNotes(const runtime::CInstrumentHandle& instrument);
  void CheckStart(const runtime::CInstrumentHandle& instrument);
  bool Acts(const runtime::CInstrumentHandle& instrument) const {
    return instrument.NeedsTiming() || receivers.contains(instrument.Name());
  }
  void Complain(runtime::TDiagnostic::EKind kind, std::uint32_t offset, std::string message);
  void Warn(std::uint32_t offset, std::string message) {
    Complain(runtime::TDiagnostic::kWarning, offset, std::move(message));
  }

  const runtime::CApplication& application;
  const TReferences& references;
  const std::map<std::string, double>& firstOutputs;
  std::map<std::string, bool> timed;  // by instrument
  std::set<std::string> receivers;
  std::map<std::string, std::string> writers;  // of elements and files
  std::vector<std::string> notes;              // of the instrument being checked
  std::uint64_t warnings = 0;
  std::uint64_t errors = 0;
};

CChecker::CChecker(const runtime::CApplication& checked, const TReferences& classReferences,
                   const std::map<std::string, double>& outputs)
    : application(checked), references(classReferences), firstOutputs(outputs) {
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    timed.emplace(instrument.Name(), instrument.NeedsTiming());
    for (std::string& receiver : instrument.Receivers()) receivers.insert(std::move(receiver));
  }
}

void CChecker::CheckConnections(const plant::TConnections& connections) {
  if (connections.empty()) return;
  std::string text = runtime::Translated("connections") + "\n";
  for (const std::string& line : plant::Listed(connections, application.Period()))
    text += "  " + runtime::Translated(line) + "\n";
  for (plant::TPlantDoubt& doubt : plant::Doubts(application, connections)) {
    if (doubt.isWarning) {
      Warn(doubt.offset, std::move(doubt.text));
    } else {
      text += Indented(runtime::Translated(doubt.text), 2, 100);
    }
  }
  Print(text);
}

void CChecker::CheckDuration() {
  if (application.PeriodCount() == 0) Warn(0, "the duration holds no period: nothing will act");
}

void CChecker::CheckProcess() {
  std::vector<runtime::TDoubt> doubts = application.Doubts();
  if (std::optional<runtime::TDoubt> doubt = application.StepDoubt()) doubts.push_back(*std::move(doubt));
  for (runtime::TDoubt& doubt : LoopDoubts(application, references)) doubts.push_back(std::move(doubt));
  for (runtime::TDoubt& doubt : doubts) Warn(doubt.offset, std::move(doubt.text));
}

void CChecker::Check(const runtime::CInstrumentHandle& instrument) {
  notes.clear();
  CheckActing(instrument);
  CheckRanges(instrument);
  CheckWritten(instrument);
  CheckReceivers(instrument);
  CheckNotes(instrument);
  CheckStart(instrument);
  if (notes.empty()) return;
  std::string text = instrument.Name() + " (" + instrument.ClassName() + ")\n";
  for (const std::string& note : notes) text += Indented(runtime::Translated(note), 2, 100);
  Print(text);
}

void CChecker::Complain(runtime::TDiagnostic::EKind kind, std::uint32_t offset, std::string message) {
  runtime::TDiagnostic diagnostic = application.At(offset, runtime::Translated(std::move(message)));
  diagnostic.kind = kind;
  PrintDiagnostics({diagnostic});
  ++(kind == runtime::TDiagnostic::kError ? errors : warnings);
}

void CChecker::CheckActing(const runtime::CInstrumentHandle& instrument) {
  if (instrument.PaneCount() == 0 || Acts(instrument)) return;
  Warn(instrument.Offset(), instrument.Name() +
                                " will never act: its definition lacks what needs timing, and it is "
                                "nobody's receiver");
}

// A pane limits what the regulator sees, to 0 … 100 unless a range is given.
void CChecker::CheckRanges(const runtime::CInstrumentHandle& instrument) {
  if (instrument.PaneCount() == 0 || !Acts(instrument)) return;
  for (const runtime::TPaneName& name : runtime::kPaneNames) {
    const runtime::TPane pane = instrument.Pane(name.pane);
    const std::string range = Significant(pane.rangeFrom) + " … " + Significant(pane.rangeTo);
    std::string problem = std::string("the ") + name.word + " of " + instrument.Name();
    if (pane.rangeFrom == pane.rangeTo && name.pane != runtime::kOutputPane) {
      problem += " is always " + Significant(pane.rangeTo) + ": the range of its pane, " + range + ", has equal ends";
      Complain(runtime::TDiagnostic::kError, instrument.Offset(), std::move(problem));
      continue;
    }
    if (!(pane.rangeFrom < pane.rangeTo) && name.pane != runtime::kOutputPane) {
      problem += " is always " + Significant(pane.rangeFrom) + " or " + Significant(pane.rangeTo) +
                 ": the range of its pane, " + range + ", is reversed";
    } else if (!(pane.rangeFrom < pane.rangeTo)) {
      problem += " has no room: the range of its pane, " + range + ", doesn't rise";
    } else if (!pane.rangeGiven && name.pane != runtime::kOutputPane) {
      problem += " is limited to " + range + ", since its pane was given no range";
    } else {
      continue;
    }
    Warn(instrument.Offset(), std::move(problem));
  }
}

// What two instruments write belongs to the last of them.
void CChecker::CheckWritten(const runtime::CInstrumentHandle& instrument) {
  const auto note = [&](const std::string& what, std::uint32_t offset) {
    const auto [place, isNew] = writers.emplace(what, instrument.Name());
    if (!isNew) Warn(offset, what + " is written by " + place->second + " as well; the last one counts");
  };
  for (const std::string& file : instrument.Files()) note(file, instrument.Offset());
  const CReference* const reference = ReferenceOf(references, instrument.ClassName());
  if (reference == nullptr) return;
  for (const auto& entry : instrument.Definition()) {
    for (const TKeyword& keyword : reference->Keywords()) {
      if (keyword.keyword == entry.keyword && keyword.type == "element") note(entry.value, entry.offset);
    }
  }
}

void CChecker::CheckReceivers(const runtime::CInstrumentHandle& instrument) {
  std::uint32_t place = instrument.Offset();
  for (const auto& entry : instrument.Definition()) {
    if (entry.keyword == "receivers") place = entry.offset;
  }
  for (const std::string& receiver : instrument.Receivers()) {
    const auto found = timed.find(receiver);
    if (found == timed.end() || !found->second) continue;
    Warn(place,
         receiver + " is timed as well: it acts twice in a period in which " + instrument.Name() + " activates it");
  }
}

void CChecker::CheckNotes(const runtime::CInstrumentHandle& instrument) {
  const CReference* const reference = ReferenceOf(references, instrument.ClassName());
  if (reference == nullptr) return;
  for (const TFinding& finding : reference->Findings(instrument.Definition())) {
    if (finding.note->warning) {
      Warn(finding.offset.value_or(instrument.Offset()), finding.note->text);
    } else {
      notes.push_back(finding.note->text);
    }
  }
}

void CChecker::CheckStart(const runtime::CInstrumentHandle& instrument) {
  const auto first = firstOutputs.find(instrument.Name());
  if (first == firstOutputs.end()) return;
  notes.push_back("without start it begins from zeros: its first output will be " +
                  Quantity(first->second, instrument.OutputUnit()) + "; " +
                  (Has(instrument, "output") ? "start = output; goes on from the element"
                                             : "start = EXPRESSION; goes on from that"));
}

// "FILE: 2 instruments, 1 warning".
void PrintCounts(const std::string& file, const std::vector<std::string>& counts) {
  std::string text;
  for (const std::string& count : counts) {
    if (!count.empty()) text.append(text.empty() ? "" : ", ").append(runtime::Translated(count));
  }
  Print(file + ": " + text + "\n");
}

int Check(const std::string& file, const std::string& connectionsFile, const std::string& pluginPath) {
  const CCrashNotice notice(file + ": crashed while it was checked with the plug-in " + PluginPath(pluginPath));
  std::string error;
  const auto plugin = LoadPlugin(pluginPath, &error);
  if (!plugin) return Fail(error);
  TReferences references;
  if (!LoadReferences(*plugin, &references, &error)) return Fail(error);
  runtime::TReadOptions reading;
  reading.path = file;
  reading.words = [&references](const std::string& className) { return WordsOf(references, className); };
  plant::CConnectionsReader connections;
  const panel::TParameterSets sets = ParameterSetsOf(references);
  panel::CPanelReader panelReader(sets);
  study::CStudyReader studies(NamesOfFigures);
  reading.blocks = {&connections, &panelReader, &studies};
  fmu::CUnits units(std::filesystem::path(file).parent_path().string());
  units.AddTo(&reading);
  if (!connectionsFile.empty()) reading.blockFiles = {{connections.Keyword(), connectionsFile}};
  std::vector<runtime::TDiagnostic> diagnostics;
  auto application = ReadApplication(reading, *plugin, &diagnostics);
  if (application && !CheckOperators(*application, panelReader.Definition(), connections.Connections(), &diagnostics)) {
    application.reset();
  }
  if (application && !units.Check(*application, &diagnostics)) application.reset();
  PrintDiagnostics(diagnostics);
  std::uint64_t warnings = CountOf(diagnostics, runtime::TDiagnostic::kWarning);
  if (!application) {
    const std::uint64_t errors = CountOf(diagnostics, runtime::TDiagnostic::kError);
    PrintCounts(file, {Count(errors, "error"), Count(warnings, "warning")});
    return kApplicationWrong;
  }
  const std::map<std::string, double> firstOutputs = FirstOutputs(*application, reading, *plugin);
  CChecker checker(*application, references, firstOutputs);
  checker.CheckConnections(connections.Connections());
  checker.CheckDuration();
  checker.CheckProcess();
  for (std::size_t index = 0; index < application->InstrumentCount(); ++index)
    checker.Check(application->Instrument(index));
  warnings += checker.Warnings();
  const std::uint64_t errors = checker.Errors();
  PrintCounts(file, {Count(application->InstrumentCount(), "instrument"), errors == 0 ? "" : Count(errors, "error"),
                     Count(warnings, "warning")});
  return errors == 0 ? kDone : kApplicationWrong;
}

}  // namespace

TCommand CheckCommand(TCommonOptions& common) {
  const auto file = std::make_shared<std::string>();
  const auto connections = std::make_shared<std::string>();
  return {"check",
          "Say what is wrong with an application, or worth knowing",
          {FileArgument(*file), ConnectionsOption(*connections), PluginOption(common), LanguageOption(common)},
          [file, connections, &common] { return Check(*file, *connections, common.plugin); }};
}

}  // namespace workbench
