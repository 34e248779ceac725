// `loopbox run`: an application runs, is traced, drawn and summed up.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fmu/units.h"
#include "painting/painting.h"
#include "runtime/runtime.h"
#include "runtime/trace.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/one_run.h"
#include "workbench/commands/run_archive.h"
#include "workbench/commands/run_options.h"
#include "workbench/commands/run_panel.h"
#include "workbench/commands/run_plant.h"
#include "workbench/commands/run_record.h"
#include "workbench/commands/run_serving.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/language.h"
#include "workbench/pictures/pane_pictures.h"
#include "workbench/pictures/picture_file.h"
#include "workbench/pictures/run_plot.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/report/comparison.h"
#include "workbench/report/report.h"
#include "workbench/run/file_identity.h"
#include "workbench/run/input_file.h"
#include "workbench/run/learning_watch.h"
#include "workbench/run/observation.h"
#include "workbench/run/pacing.h"
#include "workbench/run/provenance.h"
#include "workbench/run/regulator_watch.h"
#include "workbench/run/service_notice.h"
#include "workbench/run/summary_file.h"
#include "workbench/run/trace_file.h"
#include "workbench/text.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

constexpr std::uint64_t kPeriodsBetweenDoubts = 100;

std::vector<runtime::TStateColumn> StateColumns(const TReferences& references) {
  std::vector<runtime::TStateColumn> columns;
  for (const auto& [className, reference] : references) {
    for (runtime::TStateColumn column : reference.State()) {
      column.className = className;
      columns.push_back(std::move(column));
    }
  }
  return columns;
}

// By "-", or by the name of the file, pipe or terminal that it leads to. What it
// throws away may be thrown away by several.
bool IsStandardOutput(const std::string& name) {
  if (name == kStandardOutput) return true;
  struct stat output {};
  struct stat named {};
  if (name.empty() || fstat(STDOUT_FILENO, &output) != 0 || stat(name.c_str(), &named) != 0) return false;
  if (S_ISCHR(output.st_mode) && isatty(STDOUT_FILENO) == 0) return false;
  return output.st_dev == named.st_dev && output.st_ino == named.st_ino;
}

// One run, in steps. A step that fails says why.
class CRunCommand {
 public:
  CRunCommand(const TRunOptions& options, const TCommonOptions& common, const TReplayed& replayed);
  int Run();

 private:
  bool Prepare(std::string* error);
  bool Read();
  // Nothing that the run writes may replace what it reads or writes itself.
  bool CheckFiles(std::string* error);
  // Those known before the run; the instruments' come later.
  bool ListFilesRead(std::string* error);
  bool ReadWindow(std::string* error);
  bool Open(std::string* error);
  bool OpenInput(std::string* error);
  bool OpenPlant(std::string* error);
  bool OpenPanel(std::string* error);
  bool OpenTrace(std::string* error);
  // True when the run came to its end, false when it was interrupted, a link
  // failed, or its trace, record or a picture can't be written any more.
  bool RunPeriods();
  // Waits for the next period, or goes to the next row of a record; what passed
  // meanwhile is left out. False where there is no further one.
  bool AwaitPeriod();
  int Finish(bool complete);
  void PrintSummary(bool complete);
  void DoubtStep();
  void Mark(const std::string& instrument, const std::string& text);
  bool WriteSummary(std::string* error);

  const TRunOptions& options;
  const TCommonOptions& common;
  const TReplayed replayed;
  const bool tracesToOutput;
  const bool isRealTime;
  std::FILE* const output;    // what a person reads stays out of a trace on standard output
  std::string pictureError;   // during the run
  const CCrashNotice notice;  // outlives all that calls the plug-in
  std::unique_ptr<runtime::CPlugin> plugin;
  TReferences references;
  fmu::CUnits units;
  CRunPlant plant;
  CRunPanel panel;
  CPanePictures pictures;
  CRunConsole console;
  std::unique_ptr<runtime::CApplication> application;
  CRunServing serving;
  std::optional<CInputFile> input;
  CRunRecord record;
  CRunArchive archive;
  CTraceFile trace;
  std::optional<CPacer> pacer;  // in real time
  CServiceNotice service;
  std::function<void(const runtime::TRunTimeMessage&)> sink;
  std::optional<CObservation> observation;
  TView view;
  std::optional<CRunPlot> plot;
  std::optional<CLearningWatch> learning;
  std::optional<CRegulatorWatch> watch;
  std::optional<CReport> report;
  bool stepDoubted = false;
  std::vector<std::string> filesRead;
  TProvenance provenance;
};

CRunCommand::CRunCommand(const TRunOptions& theOptions, const TCommonOptions& theCommon, const TReplayed& theReplayed)
    : options(theOptions),
      common(theCommon),
      replayed(theReplayed),
      tracesToOutput(IsStandardOutput(options.trace)),
      isRealTime(replayed.record == nullptr && (options.realtime || options.plant || options.panel || options.speed)),
      output(tracesToOutput ? stderr : stdout),
      notice(options.file + ": crashed while it ran with the plug-in " + PluginPath(common.plugin)),
      units(std::filesystem::path(options.file).parent_path().string()),
      plant(options, replayed),
      panel(options, replayed),
      pictures(options.panes, options.panesAt),
      console(!options.quiet),
      serving(options),
      record(options, replayed) {
  provenance.options = GivenOptions(options, common);
  provenance.seed = options.seed;
  provenance.input = options.input;
  provenance.plugin = PluginPath(common.plugin);
}

int CRunCommand::Run() {
  std::string error;
  if (options.plot.empty() && options.report.empty() && (!options.curves.empty() || options.from || options.to)) {
    return Fail("--curves, --from and --to need --plot or --report", kCommandLineWrong);
  }
  if (options.realtimePriority && !isRealTime) {
    return Fail("--realtime-priority needs --realtime, --panel or --plant", kCommandLineWrong);
  }
  if (!serving.CheckOptions(&error)) return Fail(error, kCommandLineWrong);
  if (!Prepare(&error)) return Fail(error);
  if (!Read()) return kApplicationWrong;
  if (!pictures.CheckTimes(application->Duration(), &error) || !ReadWindow(&error) || !plant.ReadOptions(&error)) {
    return Fail(error, kCommandLineWrong);
  }
  if (!CheckFiles(&error) || !Open(&error)) return Fail(error);
  const bool complete = RunPeriods();
  service.Stopping();
  plant.Finish();
  const panel::EPhase phase = complete              ? panel::EPhase::kEnded
                              : InterruptionAsked() ? panel::EPhase::kInterrupted
                                                    : panel::EPhase::kFailed;
  panel.Finish(phase);
  serving.Show(phase);
  learning->Finish();
  if (input) input->Finish();
  application->End();
  console.FinishMessages();
  const int status = Finish(complete);
  serving.End();
  return status;
}

bool CRunCommand::Prepare(std::string* error) {
  if (options.panel) painting::UseFontMetrics();
  plugin = LoadPlugin(common.plugin, error);
  return plugin != nullptr && LoadReferences(*plugin, &references, error) && pictures.Prepare(error) &&
         PreparePicture(options.plot, error) && PreparePicture(options.report, error);
}

// What is wrong with the application is printed with its places.
bool CRunCommand::Read() {
  runtime::TReadOptions reading;
  reading.path = options.file;
  reading.words = [this](const std::string& className) { return WordsOf(references, className); };
  reading.period = options.period;
  reading.duration = options.duration;
  reading.initialValues = provenance.set = Assigned(options);
  reading.seed = options.seed;
  reading.keepsLearnt = replayed.record == nullptr;
  units.AddTo(&reading);
  plant.AddTo(&reading);
  panel.AddTo(&reading, references);
  reading.interruptionAsked = InterruptionAsked;
  reading.print = [this](const std::string& line) {
    console.PrintLine(line, output);
    Mark("", line);
  };
  if (!options.report.empty()) {
    reading.action = [this](const std::string& instrument, const std::string& text) {
      if (report) report->MarkAction(application->Time(), instrument, text);
    };
  }
  std::vector<runtime::TDiagnostic> diagnostics;
  application = ReadApplication(reading, *plugin, &diagnostics);
  console.EraseProgress();
  if (application && !units.Check(*application, &diagnostics)) application.reset();
  if (application && !CheckOperators(*application, panel.Definition(), plant.Connections(), &diagnostics)) {
    application.reset();
  }
  if (application) plant.AddWarnings(*application, &diagnostics);
  if (!application || (!options.quiet && !replayed.isCompared)) PrintDiagnostics(diagnostics);
  return application != nullptr;
}

bool CRunCommand::ListFilesRead(std::string* error) {
  std::vector<std::string>& read = filesRead;
  if (!FindLanguage(common.language, common.plugin, &read, error)) return false;
  read.insert(read.end(), {options.file, plugin->Path()});
  if (!options.compare.empty()) read.insert(read.end(), {options.compare, SummaryBeside(options.compare)});
  const std::vector<std::string> included = application->IncludedFiles();
  read.insert(read.end(), included.begin(), included.end());
  for (const auto& [className, reference] : references) {
    read.insert(read.end(), reference.Files().begin(), reference.Files().end());
  }
  for (const fmu::TUnitProcess& unit : units.Processes()) read.push_back(unit.path);
  if (options.input != kStandardInput) read.push_back(options.input);
  return true;
}

bool CRunCommand::CheckFiles(std::string* error) {
  std::set<TFileIdentity> used;
  const auto use = [&used](const auto& file) {
    if (auto identity = IdentityOf(file)) used.insert(*std::move(identity));
  };
  const auto spares = [&](const std::string& what, const std::string& name) {
    const auto identity = IdentityOf(name);
    const bool taken = identity && used.contains(*identity);
    if (taken) *error = name + ": " + what + " would overwrite a file that the run uses; name another one";
    return !taken;
  };
  if (!ListFilesRead(error)) return false;
  for (const std::string& name : filesRead) use(name);
  if (options.input == kStandardInput) use(STDIN_FILENO);
  use(STDOUT_FILENO);
  use(STDERR_FILENO);

  std::vector<std::string> kept;
  for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application->Instrument(i);
    for (std::string& name : instrument.Files()) {
      if (!spares("the file of " + instrument.Name(), name)) return false;
      kept.push_back(std::move(name));
    }
    const std::vector<std::string> files = instrument.FilesRead();
    filesRead.insert(filesRead.end(), files.begin(), files.end());
  }
  for (const std::string& name : kept) use(name);

  std::vector<std::pair<std::string, std::string>> written;
  if (!tracesToOutput) written.emplace_back("the trace", options.trace);
  for (std::string& name : pictures.Names()) written.emplace_back("the picture", std::move(name));
  written.emplace_back("the picture", options.plot);
  written.emplace_back("the report", options.report);
  written.emplace_back("the summary", options.summary);
  written.emplace_back("the journal", panel.JournalName(*application));
  for (const auto& [what, name] : written) {
    if (!spares(what, name)) return false;
    use(name);
    if (!name.empty()) provenance.filesWritten.push_back(name);
  }
  return true;
}

bool CRunCommand::ReadWindow(std::string* error) {
  if (!options.from && !options.to) return true;
  const double end = application->Duration();
  view.window = {options.from.value_or(0.0), options.to.value_or(end)};
  const auto& [from, to] = *view.window;
  if (from < to && to <= end) return true;
  *error = "from " + Seconds(from) + " to " + Quantity(to, "s") + " is no part of the run, which ends at " +
           Quantity(end, "s");
  return false;
}

bool CRunCommand::Open(std::string* error) {
  const bool recorded = !options.report.empty() || !options.summary.empty();
  const bool watched = !options.quiet || recorded;
  if (watched || !options.plot.empty()) {
    observation.emplace(*application, references,
                        CObservation::TWanted{.band = watched,
                                              .state = !options.report.empty(),
                                              .hands = !options.report.empty() || !options.plot.empty()});
  }
  if (!options.curves.empty() && !ReadCurves(*observation, options.curves, &view.curves, error)) return false;
  if (!options.plot.empty()) {
    if (!plot.emplace(*observation, view).Begin(error)) return false;
    if (!options.quiet && !plot->LeftOut().empty()) console.Note(0.0, "", "--plot: " + plot->LeftOut());
  }
  const auto tell = [this](const runtime::TRunTimeMessage& message) {
    console.RunTimeMessage(message);
    if (report) report->Mark(message.time, message.instrument, message.text);
  };
  sink = tell;
  if (!OpenInput(error)) return false;
  CatchInterruption();
  if (!record.Begin(*application, input ? &*input : nullptr, units.Processes(), plant.Connected(), plugin->Path(),
                    error)) {
    return false;
  }
  if (!OpenPlant(error) || !OpenPanel(error)) return false;
  if (!record.Open(*application, error)) return false;
  if (!archive.Open(options, *application, plant.Plant(), isRealTime, sink, error)) return false;
  learning.emplace(*application, references, tell);
  if (recorded) provenance.TakeHashes(*application, filesRead);
  if (watched) {
    std::vector<runtime::TNamedSpan> windows = application->Windows();
    for (runtime::TNamedSpan& window : SpansOf(options)) windows.push_back(std::move(window));
    watch.emplace(*observation, *learning, application->Period(), windows,
                  [this](const std::string& instrument, const std::string& text) {
                    const std::string said = runtime::Translated(text);
                    if (!options.quiet) console.Note(application->Time(), instrument, said);
                    Mark(instrument, said);
                  });
  }
  if (!options.report.empty()) {
    report.emplace(*application, *observation, view);
    if (!options.compare.empty() && !report->Compare(options.compare, options.compareAny, error)) return false;
  }
  application->SetMessageSink(tell);
  // Last of the files, since it takes the place of an earlier trace.
  if (!options.trace.empty() && !OpenTrace(error)) return false;
  if (!serving.Start(*application, references, panel, plant.IsDry(), error)) return false;
  Print(serving.LinksText(), output);
  std::fflush(output);
  return true;
}

bool CRunCommand::OpenInput(std::string* error) {
  if (!units.Open(*application, error)) return false;
  if (replayed.record != nullptr) {
    runtime::CDataLink* const recorded = replayed.record->Input();
    return recorded == nullptr || application->AddLink(*recorded, error);
  }
  if (options.input.empty()) return true;
  input.emplace(TInputSource{options.input, options.maps, !options.record.empty(), !isRealTime}, sink);
  if (!application->AddLink(*input, error)) return false;
  if (!options.quiet) {
    for (const std::string& note : input->Notes()) console.Note(0.0, "", runtime::Translated(note));
  }
  return true;
}

bool CRunCommand::OpenPlant(std::string* error) {
  CRunPlant::TTold told;
  told.report = sink;
  told.note = [this](const runtime::TRunTimeMessage& message) {
    if (!options.quiet) console.Note(message.time, message.instrument, message.text);
    Mark(message.instrument, message.text);
  };
  told.begun = [this](const TRecordHead::TBegun& begun) { record.NoteBegun(begun); };
  return plant.Open(*application, std::move(told), error);
}

bool CRunCommand::OpenPanel(std::string* error) {
  CRunPanel::TTold told;
  told.report = sink;
  told.note = [this](const std::string& text) {
    if (!options.quiet) console.Note(0.0, "", text);
  };
  return serving.Prepare(error) && panel.Open(*application, plant.Plant(), serving.Process(), isRealTime, told, error);
}

bool CRunCommand::OpenTrace(std::string* error) {
  std::vector<runtime::TStateColumn> state;
  if (options.traceState) {
    state = StateColumns(references);
    if (state.empty()) {
      *error = "--trace-state: no reference file beside the plug-in names state columns";
      return false;
    }
  }
  return trace.Open(tracesToOutput ? kStandardOutput : options.trace, *application, state, error);
}

bool CRunCommand::RunPeriods() {
  std::string error;
  if (options.realtimePriority && !TakeRealtimePriority(*options.realtimePriority, &error)) {
    console.Note(0.0, "", runtime::Translated("--realtime-priority: " + error));
  }
  if (isRealTime) pacer.emplace(application->Period() / options.speed.value_or(1.0));
  if (!pictures.WriteDue(*application, &pictureError)) return false;
  service.Ready(application->Period());
  while (application->PeriodsDone() < application->PeriodCount() && AwaitPeriod()) {
    service.Alive();
    if (InterruptionAsked()) return false;
    if (!application->Step()) return application->LinkError().empty();
    panel.NoteCommands(*application, record);
    serving.Show(panel::EPhase::kRunning);
    if (!record.KeepRow(*application)) return false;
    archive.Keep();
    if (observation) observation->Observe();
    learning->Observe();
    if (watch) watch->Observe();
    if (watch && !stepDoubted && application->PeriodsDone() % kPeriodsBetweenDoubts == 1) DoubtStep();
    if (plot) plot->Observe();
    if (report) report->Observe();
    if (trace.IsOpen() && application->PeriodsDone() % options.every == 0) {
      trace.WriteRow();
      if (trace.Failed()) return false;
      // Who follows a run in real time sees each row when it is made.
      if (isRealTime && !trace.Flush(&error)) return false;
    }
    if (!pictures.WriteDue(*application, &pictureError)) return false;
    console.Progress(application->Time(), application->Duration());
  }
  return true;
}

bool CRunCommand::AwaitPeriod() {
  const std::uint64_t next = application->PeriodsDone() + 1;
  std::uint64_t leftOut = 0;
  if (replayed.record != nullptr) {
    if (!record.Next()) return false;
    leftOut = replayed.record->Period() - next;
  } else {
    if (pacer) pacer->WaitFor(next);
    // What a plant did meanwhile can't be made up for.
    if (options.plant && !InterruptionAsked()) leftOut = pacer->LeaveOut(next, application->PeriodCount() - next);
  }
  if (leftOut > 0) {
    application->LeaveOut(leftOut);
    record.NoteLeftOut(next, next + leftOut - 1);
  }
  return true;
}

int CRunCommand::Finish(bool complete) {
  std::string error;
  bool done = application->LinkError().empty();
  if (!done) PrintError(application->LinkError());
  const auto check = [&](bool succeeded, const std::string& message) {
    if (!succeeded) PrintError(message);
    done = done && succeeded;
  };
  check(plant.Failure().empty(), plant.Failure());
  check(panel.End(&error), error);
  check(record.End(application->PeriodsDone(), &error), error);
  check(archive.End(&error), error);
  if (done && !record.Difference().empty()) PrintError(record.Difference());
  check(!trace.IsOpen() || trace.Close(&error), error);
  if (pictureError.empty()) pictures.WriteLast(*application, &pictureError);
  check(pictureError.empty(), pictureError);
  check(!plot || plot->Write(options.plot, &error), error);
  for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
    const std::vector<std::string> files = application->Instrument(i).FilesWritten();
    provenance.filesWritten.insert(provenance.filesWritten.end(), files.begin(), files.end());
  }
  check(!report || report->Write(options.report, *watch, provenance, complete, &error), error);
  check(options.summary.empty() || WriteSummary(&error), error);
  if (!options.quiet) PrintSummary(complete);
  if (!done) return kApplicationWrong;
  if (!complete) return kInterrupted;
  if (replayed.isCompared) return record.Difference().empty() ? kDone : kRunTimeErrors;
  return console.MessagesReported() ? kRunTimeErrors : kDone;
}

void CRunCommand::PrintSummary(bool complete) {
  std::string text = Count(application->PeriodsDone(), "period") + " of " + Quantity(application->Period(), "s");
  if (!complete) text += ", stopped at t=" + Seconds(application->Time()) + " s";
  text = (application->Name().empty() ? "" : application->Name() + ": ") + runtime::Translated(text) + "\n" +
         watch->SummaryText();
  if (!options.compare.empty()) {
    text += runtime::Translated("compared with") + " " + report->Comparison().Name() + "\n";
    for (const std::string& line : report->Comparison().Differences(*watch, provenance)) text += "  " + line + "\n";
  }
  if (pacer) text += pacer->SummaryText();
  if (replayed.isCompared && record.Difference().empty())
    text += runtime::Translated("the same as the record, to the last bit") + "\n";
  Print(text + plant.LinksText() + panel.SummaryText(), output);
}

// Once: the first time that the process was integrated in steps too long for it.
void CRunCommand::DoubtStep() {
  const std::optional<runtime::TDoubt> doubt = application->StepDoubt();
  if (!doubt) return;
  stepDoubted = true;
  const runtime::TDiagnostic place = application->At(doubt->offset, doubt->text);
  const std::string text = runtime::Translated("line " + std::to_string(place.line) + ": " + doubt->text);
  if (!options.quiet) console.Note(application->Time(), "process", text);
  Mark("process", text);
}

bool CRunCommand::WriteSummary(std::string* error) {
  json::CValue summary = SummaryValue(*application, *watch, provenance);
  panel.AddTo(&summary);
  return WriteWholeFile(options.summary, summary.Text(2) + "\n", error);
}

// In the report, if there is one.
void CRunCommand::Mark(const std::string& instrument, const std::string& text) {
  if (report) report->Mark(application->Time(), instrument, text);
}

}  // namespace

TCommand RunCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TRunOptions>();
  return {"run", "Run an application", RunOptions(*options, common),
          [options, &common] { return RunApplication(*options, common); }};
}

int RunApplication(const TRunOptions& options, const TCommonOptions& common, const TReplayed& replayed) {
  return CRunCommand(options, common, replayed).Run();
}

}  // namespace workbench
