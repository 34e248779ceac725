// `loopbox run`: an application runs, is traced, drawn and summed up.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "runtime/runtime.h"
#include "runtime/trace.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/pictures/pane_pictures.h"
#include "workbench/pictures/picture_file.h"
#include "workbench/pictures/run_plot.h"
#include "workbench/plugin_folder.h"
#include "workbench/report/report.h"
#include "workbench/run/input_file.h"
#include "workbench/run/observation.h"
#include "workbench/run/pacing.h"
#include "workbench/run/regulator_watch.h"
#include "workbench/run/trace_file.h"
#include "workbench/text.h"

namespace workbench {
namespace {

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

// Whether both names lead to one file, be it there or not; an empty one to none.
bool IsSameFile(const std::string& name, const std::string& other) {
  if (name.empty() || other.empty()) return false;
  std::error_code missing;
  if (std::filesystem::equivalent(name, other, missing)) return true;
  const std::filesystem::path real = std::filesystem::weakly_canonical(name, missing);
  return !real.empty() && real == std::filesystem::weakly_canonical(other, missing);
}

// One run. Each step prints what is wrong and yields the exit status; kDone goes
// on with the next.
class CRunCommand {
 public:
  explicit CRunCommand(const TRunOptions& theOptions)
      : options(theOptions),
        output(options.trace == kStandardOutput ? stderr : stdout),
        pictures(options.panes, options.panesAt),
        console(!options.quiet) {}

  int Run() {
    for (const auto step : {&CRunCommand::Prepare, &CRunCommand::Read, &CRunCommand::Open}) {
      const int status = (this->*step)();
      if (status != kDone) return status;
    }
    const bool complete = RunPeriods();
    application->End();
    console.FinishMessages();
    return Finish(complete);
  }

 private:
  static int Wrong(const std::string& message) {
    PrintError(message);
    return kApplicationWrong;
  }

  int Prepare() {
    plugin = LoadPlugin(options.plugin);
    if (!plugin) return kApplicationWrong;
    if (!LoadReferences(*plugin, &references, &error)) return Wrong(error);
    const bool prepared =
        pictures.Prepare(&error) && PreparePicture(options.plot, &error) && PreparePicture(options.report, &error);
    return prepared ? kDone : Wrong(error);
  }

  int Read() {
    runtime::TReadOptions reading;
    reading.path = options.file;
    reading.period = options.period;
    reading.duration = options.duration;
    reading.initialValues = options.initialValues;
    reading.seed = options.seed;
    reading.print = [this](const std::string& line) {
      console.Print(line, output);
      if (report) report->Mark(application ? application->Time() : 0.0, "", line);
    };
    if (!options.report.empty()) {
      reading.action = [this](const std::string& instrument, const std::string& text) {
        if (report) report->Mark(application->Time(), instrument, text);
      };
    }
    std::vector<runtime::TDiagnostic> diagnostics;
    application = ReadApplication(reading, *plugin, &diagnostics);
    console.EraseProgress();
    if (!application || !options.quiet) PrintDiagnostics(diagnostics);
    if (!application) return kApplicationWrong;
    if (!pictures.CheckTimes(application->Duration(), &error)) {
      PrintError(error);
      return kCommandLineWrong;
    }
    return CheckFiles() ? kDone : Wrong(error);
  }

  // Nothing that the run writes may replace what it reads or writes itself.
  bool CheckFiles() {
    std::vector<std::string> used = {options.file, plugin->Path(), options.input, options.compare};
    std::vector<std::pair<std::string, std::string>> kept;  // by whom, its file
    for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
      const runtime::CInstrumentHandle instrument = application->Instrument(i);
      for (std::string& name : instrument.Files())
        kept.emplace_back("the file of " + instrument.Name(), std::move(name));
    }
    std::vector<std::pair<std::string, std::string>> written;
    if (options.trace != kStandardOutput) written.emplace_back("the trace", options.trace);
    for (std::string& name : pictures.Names()) written.emplace_back("the picture", std::move(name));
    written.emplace_back("the picture", options.plot);
    written.emplace_back("the report", options.report);
    const auto spares = [&](const std::string& what, const std::string& name) {
      const bool taken =
          std::any_of(used.begin(), used.end(), [&](const auto& other) { return IsSameFile(name, other); });
      if (taken) error = name + ": " + what + " would overwrite a file that the run uses; name another one";
      return !taken;
    };
    for (const auto& [what, name] : kept) {
      if (!spares(what, name)) return false;
    }
    for (const auto& [what, name] : kept) used.push_back(name);
    for (const auto& [what, name] : written) {
      if (!spares(what, name)) return false;
      used.push_back(name);
    }
    return true;
  }

  int Open() {
    const bool watched = !options.quiet || !options.report.empty();
    if (watched || !options.plot.empty()) {
      observation.emplace(*application, references,
                          CObservation::TWanted{.band = watched, .state = !options.report.empty()});
    }
    if (!options.plot.empty() && !plot.emplace(*observation).Begin(&error)) return Wrong(error);
    if (!options.input.empty()) {
      if (!application->AddLink(input.emplace(options.input), &error)) return Wrong(error);
      if (!options.quiet) {
        for (const std::string& note : input->Notes()) console.Note(0.0, "", note);
      }
    }
    CatchInterruption();
    if (!options.trace.empty()) {
      std::vector<runtime::TStateColumn> state;
      if (options.traceState) {
        state = StateColumns(references);
        if (state.empty()) return Wrong("--trace-state: no reference file beside the plug-in names state columns");
      }
      if (!trace.Open(options.trace, *application, state, &error)) return Wrong(error);
    }
    if (watched) {
      watch.emplace(*observation, application->Period(),
                    [this](const std::string& instrument, const std::string& text) {
                      if (!options.quiet) console.Note(application->Time(), instrument, text);
                      if (report) report->Mark(application->Time(), instrument, text);
                    });
    }
    if (!options.report.empty()) {
      report.emplace(*application, *observation);
      if (!options.compare.empty() && !report->Compare(options.compare, &error)) return Wrong(error);
    }
    application->SetMessageSink([this](const runtime::TRunTimeMessage& message) {
      console.RunTimeMessage(message);
      if (report) report->Mark(message.time, message.instrument, message.text);
    });
    return kDone;
  }

  // True when the run came to its end, false when it was interrupted, a link
  // failed, or its trace or a picture can't be written any more.
  bool RunPeriods() {
    if (options.realtimePriority) {
      const std::string refused = TakeRealtimePriority(*options.realtimePriority);
      if (!refused.empty()) console.Note(0.0, "", "--realtime-priority: " + refused);
    }
    if (options.realtime) pacer.emplace(application->Period());
    std::string lost;
    if (!pictures.WriteDue(*application, &pictureError)) return false;
    while (application->PeriodsDone() < application->PeriodCount()) {
      if (pacer) pacer->WaitFor(application->PeriodsDone() + 1);
      if (InterruptionAsked()) return false;
      if (!application->Step()) return application->LinkError().empty();
      if (observation) observation->Observe();
      if (watch) watch->Observe();
      if (plot) plot->Observe();
      if (report) report->Observe();
      if (trace.IsOpen() && application->PeriodsDone() % options.every == 0) {
        trace.WriteRow();
        if (trace.Failed()) return false;
        // Who follows a run in real time sees each row when it is made.
        if (options.realtime && !trace.Flush(&lost)) return false;
      }
      if (!pictures.WriteDue(*application, &pictureError)) return false;
      console.Progress(application->Time(), application->Duration());
    }
    return true;
  }

  int Finish(bool complete) {
    bool done = application->LinkError().empty();
    if (!done) PrintError(application->LinkError());
    const auto check = [&](bool succeeded, const std::string& message) {
      if (!succeeded) PrintError(message);
      done = done && succeeded;
    };
    check(!trace.IsOpen() || trace.Close(&error), error);
    if (pictureError.empty()) pictures.WriteLast(*application, &pictureError);
    check(pictureError.empty(), pictureError);
    check(!plot || plot->Write(options.plot, &error), error);
    check(!report || report->Write(options.report, *watch, complete, &error), error);
    if (!options.quiet) PrintSummary(complete);
    if (!done) return kApplicationWrong;
    if (!complete) return kInterrupted;
    return console.MessagesReported() ? kRunTimeErrors : kDone;
  }

  void PrintSummary(bool complete) {
    std::string text = (application->Name().empty() ? "" : application->Name() + ": ") +
                       Count(application->PeriodsDone(), "period") + " of " + Quantity(application->Period(), "s");
    if (!complete) text += ", stopped at t=" + Seconds(application->Time()) + " s";
    text += "\n" + watch->SummaryText();
    if (pacer) text += pacer->SummaryText();
    std::fputs(text.c_str(), output);
  }

  const TRunOptions& options;
  std::FILE* const output;  // what a person reads stays out of a trace on standard output
  std::string error;
  std::string pictureError;  // during the run
  std::unique_ptr<runtime::CPlugin> plugin;
  TReferences references;
  CPanePictures pictures;
  CRunConsole console;
  std::unique_ptr<runtime::CApplication> application;
  std::optional<CInputFile> input;
  CTraceFile trace;
  std::optional<CPacer> pacer;  // in real time
  std::optional<CObservation> observation;
  std::optional<CRunPlot> plot;
  std::optional<CRegulatorWatch> watch;
  std::optional<CReport> report;
};

}  // namespace

int Run(const TRunOptions& options) { return CRunCommand(options).Run(); }

}  // namespace workbench
