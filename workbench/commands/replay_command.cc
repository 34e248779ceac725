// `loopbox replay`: a recorded run again, without its plant.
#include <memory>
#include <string>

#include "workbench/commands/commands.h"
#include "workbench/commands/one_run.h"
#include "workbench/console.h"
#include "workbench/run/replay.h"

namespace workbench {
namespace {

struct TReplayOptions {
  std::string record;
  std::string with;  // another text, which gets the same inputs
  std::string report;
  std::string trace;
  bool quiet = false;
};

int Replay(const TReplayOptions& options, const TCommonOptions& common) {
  std::string error;
  const std::unique_ptr<CReplay> replay = CReplay::Open(options.record, &error);
  if (replay == nullptr) return Fail(error);
  const TRecordHead& head = replay->Head();
  TRunOptions run;
  run.file = options.with.empty() ? replay->Text() : options.with;
  run.connections = replay->Connections();
  run.period = head.period;
  run.duration = head.duration;
  run.seed = head.seed;
  run.losses = head.losses;
  run.report = options.report;
  run.trace = options.trace;
  run.quiet = options.quiet;
  if (!options.report.empty()) run.compare = replay->Trace();
  run.compareAny = !options.with.empty();
  for (const auto& [name, value] : head.set) run.assignments.emplace_back(name).append("=").append(value);
  return RunApplication(run, common, {replay.get(), options.with.empty()});
}

}  // namespace

TCommand ReplayCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TReplayOptions>();
  return {"replay",
          "Run a record again, and compare",
          {{"DIR", "", &options->record, "The folder that run --record kept", nullptr, nullptr, nullptr, true},
           {"--with", "FILE", &options->with,
            "Another text, which gets the same inputs; nothing is compared bit by bit", FileName()},
           {"--report", "FILE.html", &options->report, "Write a page of the run, beside what was", FileName()},
           {"--trace", "FILE", &options->trace, "Write its trace as CSV; - is standard output", FileName()},
           PluginOption(common),
           {"--quiet", "", &options->quiet, "Only errors and the first difference"},
           LanguageOption(common)},
          [options, &common] { return Replay(*options, common); }};
}

}  // namespace workbench
