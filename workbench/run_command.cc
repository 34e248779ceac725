// `loopbox run`: an application runs, is traced, and summed up.
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/commands.h"
#include "workbench/console.h"
#include "workbench/pacing.h"
#include "workbench/pane_pictures.h"
#include "workbench/picture_file.h"
#include "workbench/plugin_folder.h"
#include "workbench/regulator_watch.h"
#include "workbench/run_plot.h"
#include "workbench/text.h"
#include "workbench/trace_file.h"

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

// True when the run came to its end, false when it was interrupted or its
// trace or a picture can't be written any more; then *pictureError says why, in
// the case of a picture.
bool RunPeriods(const TRunOptions& options, runtime::CApplication& application, CTraceFile& trace,
                CPanePictures& pictures, CRegulatorWatch* watch, CRunPlot* plot, CRunConsole& console,
                std::string* pictureError) {
  const CPacer pacer(application.Period());
  std::string lost;
  if (!pictures.WriteDue(application, pictureError)) return false;
  while (application.PeriodsDone() < application.PeriodCount()) {
    if (options.realtime) pacer.WaitFor(application.PeriodsDone() + 1);
    if (InterruptionAsked()) return false;
    if (!application.Step()) return true;
    if (watch != nullptr) watch->Observe();
    if (plot != nullptr) plot->Observe(application);
    if (trace.IsOpen() && application.PeriodsDone() % options.every == 0) {
      trace.WriteRow();
      if (trace.Failed()) return false;
      // Who follows a run in real time sees each row when it is made.
      if (options.realtime && !trace.Flush(&lost)) return false;
    }
    if (!pictures.WriteDue(application, pictureError)) return false;
    console.Progress(application.Time(), application.Duration());
  }
  return true;
}

void PrintSummary(const runtime::CApplication& application, const CRegulatorWatch& watch, bool complete,
                  std::FILE* file) {
  std::string text = (application.Name().empty() ? "" : application.Name() + ": ") +
                     Count(application.PeriodsDone(), "period") + " of " + Quantity(application.Period(), "s");
  if (!complete) text += ", stopped at t=" + Seconds(application.Time()) + " s";
  std::fputs((text + "\n" + watch.SummaryText()).c_str(), file);
}

}  // namespace

int Run(const TRunOptions& options) {
  const auto plugin = LoadPlugin(options.plugin);
  if (!plugin) return kApplicationWrong;
  TReferences references;
  std::string error;
  if (!LoadReferences(*plugin, &references, &error)) {
    PrintError(error);
    return kApplicationWrong;
  }

  CPanePictures pictures(options.panes, options.panesAt);
  std::vector<std::string> kept = {options.file, plugin->Path(), options.trace};
  bool prepared = pictures.Prepare(kept, &error);
  kept.push_back(options.panes);
  prepared = prepared && PreparePicture(options.plot, kept, &error);
  if (!prepared) {
    PrintError(error);
    return kApplicationWrong;
  }

  // What a person reads stays out of a trace on standard output.
  std::FILE* const output = options.trace == kStandardOutput ? stderr : stdout;
  CRunConsole console(!options.quiet);
  runtime::TReadOptions reading;
  reading.path = options.file;
  reading.period = options.period;
  reading.duration = options.duration;
  reading.initialValues = options.initialValues;
  reading.seed = options.seed;
  reading.print = [&](const std::string& line) { console.Print(line, output); };
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = runtime::CApplication::Read(reading, *plugin, &diagnostics);
  console.EraseProgress();
  if (!application || !options.quiet) PrintDiagnostics(diagnostics);
  if (!application) return kApplicationWrong;

  if (!pictures.CheckTimes(application->Duration(), &error)) {
    PrintError(error);
    return kCommandLineWrong;
  }

  std::optional<CRunPlot> plot;
  if (!options.plot.empty() && !plot.emplace().Begin(*application, &error)) {
    PrintError(error);
    return kApplicationWrong;
  }

  CatchInterruption();
  CTraceFile trace;
  if (!options.trace.empty()) {
    std::vector<runtime::TStateColumn> state;
    if (options.traceState) {
      state = StateColumns(references);
      if (state.empty()) {
        PrintError("--trace-state: no reference file beside the plug-in names state columns");
        return kApplicationWrong;
      }
    }
    if (!trace.Open(options.trace, {options.file, plugin->Path()}, *application, std::move(state), &error)) {
      PrintError(error);
      return kApplicationWrong;
    }
  }

  std::optional<CRegulatorWatch> watch;
  if (!options.quiet) {
    watch.emplace(*application, references, [&](const std::string& instrument, const std::string& text) {
      console.Note(application->Time(), instrument, text);
    });
  }
  application->SetMessageSink([&](const runtime::TRunTimeMessage& message) { console.RunTimeMessage(message); });
  std::string pictureError;
  const bool complete = RunPeriods(options, *application, trace, pictures, watch ? &*watch : nullptr,
                                   plot ? &*plot : nullptr, console, &pictureError);
  application->End();
  console.FinishMessages();

  const bool traced = !trace.IsOpen() || trace.Close(&error);
  if (!traced) PrintError(error);
  const bool pictured = pictureError.empty() && pictures.WriteLast(*application, &pictureError) &&
                        (!plot || plot->Write(options.plot, &pictureError));
  if (!pictured) PrintError(pictureError);
  if (watch) PrintSummary(*application, *watch, complete, output);
  if (!traced || !pictured) return kApplicationWrong;
  if (!complete) return kInterrupted;
  return console.MessagesReported() ? kRunTimeErrors : kDone;
}

}  // namespace workbench
