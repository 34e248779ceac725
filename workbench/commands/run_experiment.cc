#include "workbench/commands/run_experiment.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>

#include "plant/plant.h"
#include "runtime/runtime.h"
#include "workbench/commands/one_run.h"
#include "workbench/commands/run_plant.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/run/experiment.h"
#include "workbench/run/file_identity.h"
#include "workbench/run/observation.h"
#include "workbench/run/pacing.h"
#include "workbench/run/settings.h"
#include "workbench/run/trace_file.h"
#include "workbench/run/tuned_loop.h"
#include "workbench/text.h"

namespace workbench {
namespace {

class CExperimentCommand {
 public:
  CExperimentCommand(const TExperimentOptions& theOptions, const TCommonOptions& theCommon)
      : options(theOptions),
        common(theCommon),
        notice(options.run.file + ": crashed while it ran with the plug-in " + PluginPath(common.plugin)),
        plant(options.run, replayed) {}

  int Run();

 private:
  bool Read(EExitStatus* status, std::string* error);
  bool Plan(std::string* error);
  bool Open(std::string* error);
  // False when a link failed or the record can't be written any more.
  bool RunPeriods();
  std::uint64_t AwaitPeriod(CPacer* pacer);
  // What the plant holds back or has lost of this loop; empty: nothing.
  std::string PlantSays();

  const TExperimentOptions& options;
  const TCommonOptions& common;
  const TReplayed replayed;
  const CCrashNotice notice;
  std::unique_ptr<runtime::CPlugin> plugin;
  TReferences references;
  CRunPlant plant;
  CRunConsole console{true};
  std::unique_ptr<runtime::CApplication> application;
  std::optional<TTunedLoop> loop;
  std::optional<CExperiment> experiment;
  CTraceFile record;
};

int CExperimentCommand::Run() {
  std::string error;
  EExitStatus status = kApplicationWrong;
  if (!Read(&status, &error)) return error.empty() ? status : Fail(error, status);
  if (!plant.ReadOptions(&error) || !Plan(&error)) return Fail(error, kCommandLineWrong);
  if (!Open(&error)) return Fail(error);
  const bool runs = RunPeriods();
  plant.Finish();
  application->End();
  console.FinishMessages();
  bool done = runs || application->LinkError().empty();
  if (!done) PrintError(application->LinkError());
  for (const std::string& failure : {plant.Failure(), record.IsOpen() && !record.Close(&error) ? error : ""}) {
    if (failure.empty()) continue;
    PrintError(failure);
    done = false;
  }
  if (!done) return kApplicationWrong;
  Print(runtime::Translated(experiment->Ending()) + "\n");
  if (InterruptionAsked()) return kInterrupted;
  return experiment->IsWhole() ? kDone : kRunTimeErrors;
}

// Longer than the application, which may be shorter than what it takes.
bool CExperimentCommand::Read(EExitStatus* status, std::string* error) {
  plugin = LoadPlugin(common.plugin, error);
  if (!plugin || !LoadReferences(*plugin, &references, error)) return false;
  runtime::TReadOptions reading;
  reading.path = options.run.file;
  reading.words = [this](const std::string& className) { return WordsOf(references, className); };
  reading.duration = options.after + 3.0 * *options.longest;
  reading.initialValues = Assigned(options.run);
  reading.seed = options.run.seed;
  reading.keepsLearnt = false;
  reading.steersOutputs = true;
  reading.interruptionAsked = InterruptionAsked;
  reading.print = [this](const std::string& line) { console.PrintLine(line, stdout); };
  plant.AddTo(&reading);
  std::vector<runtime::TDiagnostic> diagnostics;
  application = ReadApplication(reading, *plugin, &diagnostics);
  if (application) plant.AddWarnings(*application, &diagnostics);
  PrintDiagnostics(diagnostics);
  if (!application) return false;
  loop = LoopOf(*application, references, options.run.file, options.instrument, error);
  if (!loop) *status = kCommandLineWrong;
  return loop.has_value();
}

bool CExperimentCommand::Plan(std::string* error) {
  if (plant.IsDry()) {
    *error = "--plant dry writes nothing, of which an experiment learns nothing";
    return false;
  }
  const double period = application->Period();
  const double least = static_cast<double>(TExperimentPlan::kLeastPeriods) * period;
  if (*options.longest < least) {
    *error = "--longest: " + Quantity(*options.longest, "s") + " is less than " +
             Count(TExperimentPlan::kLeastPeriods, "period") + " of " + Quantity(period, "s");
    return false;
  }
  TExperimentPlan plan;
  plan.isRelay = options.kind == kRelay;
  plan.amplitude = *options.amplitude;
  char* end = nullptr;
  plan.low = std::strtod(options.bound.c_str(), &end);
  plan.high = std::strtod(end + 1, nullptr);
  plan.longest = *options.longest;
  plan.rows = options.rows;
  plan.period = period;
  plan.raises = loop->raises;
  const runtime::TPane pane = loop->instrument.Pane(runtime::kOutputPane);
  plan.outputLow = pane.rangeFrom;
  plan.outputHigh = pane.rangeTo;
  plan.valueUnit = loop->instrument.QuantityUnit();
  plan.outputUnit = loop->instrument.OutputUnit();
  experiment.emplace(std::move(plan));
  return true;
}

bool CExperimentCommand::Open(std::string* error) {
  std::set<TFileIdentity> used;
  std::vector<std::string> read = application->IncludedFiles();
  read.push_back(options.run.file);
  read.push_back(plugin->Path());
  for (const std::string& name : read) {
    if (const auto identity = IdentityOf(name)) used.insert(*identity);
  }
  if (const auto identity = IdentityOf(options.record); identity && used.contains(*identity)) {
    *error = options.record + ": " + "the record" + " would overwrite a file that the run uses; name another one";
    return false;
  }
  const auto tell = [this](const runtime::TRunTimeMessage& message) { console.RunTimeMessage(message); };
  application->SetMessageSink(tell);
  loop->instrument.NoteRegulating();
  CatchInterruption();
  CRunPlant::TTold told;
  told.report = tell;
  told.note = [this](const runtime::TRunTimeMessage& message) {
    console.Note(message.time, message.instrument, message.text);
  };
  told.begun = [](const TRecordHead::TBegun&) {};
  return plant.Open(*application, std::move(told), error) && record.Open(options.record, *application, {}, error);
}

bool CExperimentCommand::RunPeriods() {
  std::optional<CPacer> pacer;
  if (options.run.plant) pacer.emplace(application->Period());
  bool tracked = false;
  while (!experiment->IsOver()) {
    const std::uint64_t leftOut = pacer ? AwaitPeriod(&*pacer) : 0;
    if (InterruptionAsked()) experiment->Abort("by an interruption");
    if (!application->Step()) return false;
    const double time = application->Time();
    if (time < options.after) continue;
    const std::string said = experiment->IsRecorded() ? PlantSays() : "";
    if (!said.empty()) experiment->Abort(said);
    const runtime::CInstrumentHandle& instrument = loop->instrument;
    const std::optional<double> output =
        experiment->Follow({instrument.Pane(runtime::kValuePane).measured, instrument.Pane(runtime::kOutputPane).value,
                            instrument.Regulates(), leftOut + 1});
    // What the connections hold back, they track themselves.
    if (output || (tracked && said.empty())) instrument.TrackFromOutside(output);
    tracked = output.has_value();
    if (experiment->IsRecorded()) record.WriteRow();
    if (record.Failed()) return true;
    console.Progress(time, application->Duration());
  }
  return true;
}

// What a plant did while periods were missed can't be made up for. Yields how many were
// left out.
std::uint64_t CExperimentCommand::AwaitPeriod(CPacer* pacer) {
  const std::uint64_t next = application->PeriodsDone() + 1;
  pacer->WaitFor(next);
  if (InterruptionAsked()) return 0;
  const std::uint64_t leftOut = pacer->LeaveOut(next, application->PeriodCount() - next);
  if (leftOut > 0) application->LeaveOut(leftOut);
  return leftOut;
}

std::string CExperimentCommand::PlantSays() {
  const plant::CPlant* const site = plant.Plant();
  if (site == nullptr) return "";
  // A value that is computed of several may need any of the inputs.
  for (std::size_t i = 0; i < site->InputCount(); ++i) {
    const plant::CPlant::TInputNow now = site->Input(i);
    const bool matters = !loop->value || now.input->item == *loop->value;
    if (matters && now.quality != plant::EQuality::kGood) {
      return "since " + now.input->name + " isn't good: the connection is lost, or its value";
    }
  }
  for (std::size_t i = 0; i < site->OutputCount(); ++i) {
    const plant::CPlant::TOutputNow now = site->Output(i);
    if (!(now.output->item == loop->output)) continue;
    if (std::isnan(now.written)) return "since nothing is written to the plant yet";
    if (now.why == plant::EGuard::kOwn) continue;
    return "since the connections hold " + now.output->name + " at " +
           Quantity(now.written, loop->instrument.OutputUnit());
  }
  return "";
}

}  // namespace

int RunExperiment(const TExperimentOptions& options, const TCommonOptions& common) {
  return CExperimentCommand(options, common).Run();
}

}  // namespace workbench
