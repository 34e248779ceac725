// `loopbox check`: what is wrong with an application, and what is worth knowing
// before it runs.
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/text.h"

namespace workbench {
namespace {

class CChecker {
 public:
  // Both outlive the checker.
  CChecker(const runtime::CApplication& application, const TReferences& references);

  void CheckDuration();
  // Prints what is worth knowing of an instrument; warnings, with their places,
  // go to standard error.
  void Check(const runtime::CInstrumentHandle& instrument);
  std::uint64_t Warnings() const { return warnings; }

 private:
  void CheckActing(const runtime::CInstrumentHandle& instrument);
  void CheckRanges(const runtime::CInstrumentHandle& instrument);
  void CheckWritten(const runtime::CInstrumentHandle& instrument);
  void CheckReceivers(const runtime::CInstrumentHandle& instrument);
  void CheckNotes(const runtime::CInstrumentHandle& instrument);
  bool Acts(const runtime::CInstrumentHandle& instrument) const {
    return instrument.NeedsTiming() || receivers.contains(instrument.Name());
  }
  void Warn(std::uint32_t offset, std::string message);

  const runtime::CApplication& application;
  const TReferences& references;
  std::map<std::string, bool> timed;  // by instrument
  std::set<std::string> receivers;
  std::map<std::string, std::string> writers;  // of elements and files
  std::vector<std::string> notes;              // of the instrument being checked
  std::uint64_t warnings = 0;
};

CChecker::CChecker(const runtime::CApplication& checked, const TReferences& classReferences)
    : application(checked), references(classReferences) {
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    timed.emplace(instrument.Name(), instrument.NeedsTiming());
    for (std::string& receiver : instrument.Receivers()) receivers.insert(std::move(receiver));
  }
}

void CChecker::CheckDuration() {
  if (application.PeriodCount() == 0) Warn(0, "the duration holds no period: nothing will act");
}

void CChecker::Check(const runtime::CInstrumentHandle& instrument) {
  notes.clear();
  CheckActing(instrument);
  CheckRanges(instrument);
  CheckWritten(instrument);
  CheckReceivers(instrument);
  CheckNotes(instrument);
  if (notes.empty()) return;
  std::string text = instrument.Name() + " (" + instrument.ClassName() + ")\n";
  for (const std::string& note : notes) text += Indented(note, 2, 100);
  Print(text);
}

void CChecker::Warn(std::uint32_t offset, std::string message) {
  runtime::TDiagnostic diagnostic = application.At(offset, std::move(message));
  diagnostic.kind = runtime::TDiagnostic::kWarning;
  PrintDiagnostics({diagnostic});
  ++warnings;
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
    if (!(pane.rangeFrom < pane.rangeTo)) {
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

int Check(const std::string& file, const std::string& pluginPath) {
  const CCrashNotice notice(file + ": crashed while it was checked with the plug-in " + PluginPath(pluginPath));
  std::string error;
  const auto plugin = LoadPlugin(pluginPath, &error);
  if (!plugin) return Fail(error);
  TReferences references;
  if (!LoadReferences(*plugin, &references, &error)) return Fail(error);
  runtime::TReadOptions reading;
  reading.path = file;
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = ReadApplication(reading, *plugin, &diagnostics);
  PrintDiagnostics(diagnostics);
  std::uint64_t warnings = CountOf(diagnostics, runtime::TDiagnostic::kWarning);
  if (!application) {
    const std::uint64_t errors = CountOf(diagnostics, runtime::TDiagnostic::kError);
    Print(file + ": " + Count(errors, "error") + ", " + Count(warnings, "warning") + "\n");
    return kApplicationWrong;
  }
  CChecker checker(*application, references);
  checker.CheckDuration();
  for (std::size_t index = 0; index < application->InstrumentCount(); ++index)
    checker.Check(application->Instrument(index));
  warnings += checker.Warnings();
  Print(file + ": " + Count(application->InstrumentCount(), "instrument") + ", " + Count(warnings, "warning") + "\n");
  return kDone;
}

}  // namespace

TCommand CheckCommand(TCommonOptions& common) {
  const auto file = std::make_shared<std::string>();
  return {"check",
          "Say what is wrong with an application, or worth knowing",
          {FileArgument(*file), PluginOption(common), LanguageOption(common)},
          [file, &common] { return Check(*file, common.plugin); }};
}

}  // namespace workbench
