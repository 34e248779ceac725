// `loopbox margins`: how far a loop as it stands is from instability.
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "workbench/commands/commands.h"
#include "workbench/commands/tuned_application.h"
#include "workbench/console.h"
#include "workbench/run/linearisation.h"
#include "workbench/run/trace_file.h"
#include "workbench/run/tune_result.h"
#include "workbench/text.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

struct TMarginsOptions {
  TTunedOptions loop;
  std::optional<double> at;  // seconds
  std::string json;
};

class CMarginsCommand {
 public:
  CMarginsCommand(const TMarginsOptions& theOptions, const TCommonOptions& common)
      : options(theOptions), tuned(options.loop, common) {}

  int Run();

 private:
  bool ReadModels(TLoopModels* models, std::string* error);
  bool FromRecords(TLoopModels* models, std::string* error);
  bool FromProcess(TLoopModels* models, std::string* error);

  const TMarginsOptions& options;
  CTunedApplication tuned;
  std::optional<tuning::TEstimate> estimate;
};

int CMarginsCommand::Run() {
  std::string error;
  if (const EExitStatus status = tuned.Read(); status != kDone) return status;
  const TTunedLoop& loop = tuned.Loop();
  const double period = tuned.Application().Period();
  if (!options.json.empty() && options.json != kStandardOutput && !tuned.Spares("the JSON", options.json, &error)) {
    return Fail(error);
  }
  TLoopModels models;
  if (!ReadModels(&models, &error)) return Fail(error);
  const std::optional<tuning::TController> now =
      ControllerOf(LoopSettingsOf(loop.instrument, tuned.References()), period);
  if (!now) {
    return Fail(loop.instrument.Name() + " doesn't act by a law with r0, tI and tD, of which alone margins are told");
  }
  TTuneResult result{loop};
  if (estimate) result.estimate = &*estimate;
  result.models = models.sampled.size();
  result.now = Judge(*now, models);
  const bool isStable = result.now->nominal.stable && std::isfinite(result.now->worst.ms);
  if (!isStable) result.refused.emplace_back("The loop isn't stable with these parameters.");
  if (options.json != kStandardOutput) Print(result.Text());
  const std::string text = result.Value(true).Text(2) + "\n";
  if (options.json == kStandardOutput) {
    Print(text);
  } else if (!options.json.empty() && !WriteWholeFile(options.json, text, &error)) {
    return Fail(error);
  }
  return isStable ? kDone : kRunTimeErrors;
}

bool CMarginsCommand::ReadModels(TLoopModels* models, std::string* error) {
  return options.loop.from.empty() ? FromProcess(models, error) : FromRecords(models, error);
}

bool CMarginsCommand::FromRecords(TLoopModels* models, std::string* error) {
  std::vector<TLoopRecord> records;
  if (!tuned.ReadRecords(&records, error)) return false;
  const runtime::TPane output = tuned.Loop().instrument.Pane(runtime::kOutputPane);
  std::vector<tuning::TRecord> rows;
  for (TLoopRecord& record : records) {
    rows.push_back(std::move(record.rows));
    if (tuned.Loop().raises) continue;
    for (double& u : rows.back().input) u = output.rangeFrom + output.rangeTo - u;
  }
  try {
    tuning::TEstimateOptions estimating;
    estimating.seed = options.loop.seed;
    estimate = tuning::Estimate(rows, estimating);
  } catch (const std::invalid_argument& wrong) {
    *error = wrong.what();
    return false;
  }
  *models = SampledModels(*estimate, tuned.Application().Period());
  return true;
}

// The loop's settings are those at that time too.
bool CMarginsCommand::FromProcess(TLoopModels* models, std::string* error) {
  runtime::CApplication& application = tuned.Application();
  const double at = options.at.value_or(application.Duration());
  std::optional<tuning::TSampledModel> model = Linearised(tuned.Reading(), tuned.Plugin(), tuned.Index(), at, error);
  if (!model) {
    *error = tuned.Loop().instrument.Name() + ": " + *error;
    return false;
  }
  if (!tuned.Loop().raises) {
    for (double& b : model->numerator) b = -b;
  }
  const auto periods = static_cast<std::uint64_t>(std::llround(at / application.Period()));
  while (application.PeriodsDone() < periods && application.Step()) continue;
  models->sampled.push_back(*std::move(model));
  return true;
}

}  // namespace

TCommand MarginsCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TMarginsOptions>();
  std::vector<TOption> rows = TunedOptions(
      options->loop, "With the process that these records tell: traces, folders of run --record, data of a historian");
  rows.insert(rows.end(), {{"--at", "S", &options->at,
                            "With the simulated process as it is then (default: at the end of the duration)",
                            AtLeast(0.0, "a number of seconds"), nullptr, "--from"},
                           {"--json", "FILE", &options->json, "Write it as JSON; - is standard output", FileName()},
                           SetOption(options->loop.assignments),
                           SeedOption(options->loop.seed),
                           PluginOption(common),
                           LanguageOption(common)});
  return {"margins", "Tell how far a loop as it stands is from instability", std::move(rows),
          [options, &common] { return CMarginsCommand(*options, common).Run(); }};
}

}  // namespace workbench
