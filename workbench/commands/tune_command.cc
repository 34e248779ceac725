// `loopbox tune`: an experiment on a loop, or a proposal from what was recorded.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tuning/certificate.h"
#include "tuning/warm_start.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/run_experiment.h"
#include "workbench/commands/tuned_application.h"
#include "workbench/console.h"
#include "workbench/report/tune_report.h"
#include "workbench/run/proposed_text.h"
#include "workbench/run/trace_file.h"
#include "workbench/run/tune_result.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

constexpr double kOwnLag = 0.2;  // with which every regulator begins
constexpr double kQuiet = 0.02;  // noise at the output that a warm start may bring, of its range

struct TTuneCommandOptions {
  TTunedOptions loop;
  TExperimentOptions experiment;
  std::string law;  // empty: the tool chooses
  std::optional<double> lag;
  std::optional<double> ms;
  std::optional<double> period;
  std::string write;
  std::string warm;
  std::string json;
  std::string report;
};

class CTuneCommand {
 public:
  CTuneCommand(const TTuneCommandOptions& theOptions, const TCommonOptions& common)
      : options(theOptions), tuned(options.loop, common) {}

  int Run();

 private:
  tuning::TTuneOptions Options() const;
  bool CheckFiles(std::string* error) const;
  TTuneResult Result() const;
  bool WriteFiles(const TTuneResult& result, std::string* error) const;
  bool WriteText(std::string* error) const;
  bool WriteWarmStart(std::string* error) const;

  const TTuneCommandOptions& options;
  CTunedApplication tuned;
  std::vector<TLoopRecord> records;
  tuning::TProposal proposal;
};

tuning::TTuneOptions CTuneCommand::Options() const {
  const TTunedLoop& loop = tuned.Loop();
  tuning::TTuneOptions tune;
  for (const tuning::ELaw law : kTunedLaws) {
    if (tuning::LawName(law) == options.law) tune.law = law;
  }
  tune.lag = options.lag;
  tune.period = options.period.value_or(tuned.Application().Period());
  // Others act in the application's period too.
  tune.fixedPeriod = options.period || tuned.RegulatorCount() > 1;
  if (options.ms) tune.nominalMs = *options.ms;
  const runtime::TPane output = loop.instrument.Pane(runtime::kOutputPane);
  const runtime::TPane value = loop.instrument.Pane(runtime::kValuePane);
  std::tie(tune.outputLow, tune.outputHigh) = std::minmax(output.rangeFrom, output.rangeTo);
  std::tie(tune.valueLow, tune.valueHigh) = std::minmax(value.rangeFrom, value.rangeTo);
  tune.inverse = !loop.raises;
  tune.seed = options.loop.seed;
  return tune;
}

bool CTuneCommand::CheckFiles(std::string* error) const {
  for (const auto& [what, name] : {std::pair("the text", &options.write), std::pair("the warm start", &options.warm),
                                   std::pair("the JSON", &options.json), std::pair("the report", &options.report)}) {
    if (!name->empty() && *name != kStandardOutput && !tuned.Spares(what, *name, error)) return false;
  }
  return true;
}

int CTuneCommand::Run() {
  std::string error;
  if (const EExitStatus status = tuned.Read(); status != kDone) return status;
  if (!CheckFiles(&error) || !tuned.ReadRecords(&records, &error)) return Fail(error);
  std::vector<tuning::TRecord> rows;
  for (const TLoopRecord& record : records) rows.push_back(record.rows);
  proposal = tuning::Tune(rows, Options());
  const TTuneResult result = Result();
  if (options.json != kStandardOutput) Print(result.Text());
  if (!WriteFiles(result, &error)) return Fail(error);
  return proposal.refused.empty() ? kDone : kRunTimeErrors;
}

TTuneResult CTuneCommand::Result() const {
  const tuning::TEstimate& estimate = proposal.estimate;
  TTuneResult result{tuned.Loop()};
  result.regret = proposal.regret;
  result.refused = proposal.refused;
  result.advice = proposal.advice;
  result.ask = proposal.ask;
  if (estimate.set.empty()) return result;
  result.estimate = &estimate;
  result.models = estimate.set.size();
  if (proposal.controller) {
    result.proposed =
        TJudged{*proposal.controller, proposal.nominal, proposal.worst, proposal.cost, proposal.noiseAtOutput};
  }
  const double period = tuned.Application().Period();
  if (const auto now = ControllerOf(tuned.Loop().now, period)) {
    result.now = Judge(*now, SampledModels(estimate, period));
  }
  return result;
}

bool CTuneCommand::WriteFiles(const TTuneResult& result, std::string* error) const {
  if (!options.json.empty()) {
    const std::string text = result.Value(false).Text(2) + "\n";
    if (options.json == kStandardOutput) {
      Print(text);
    } else if (!WriteWholeFile(options.json, text, error)) {
      return false;
    }
  }
  if (!options.report.empty() && !WriteTuneReport(options.report, result, records, Options(), error)) return false;
  const bool isWritten = proposal.refused.empty() && proposal.controller;
  if (!options.write.empty() && isWritten && !WriteText(error)) return false;
  if (!options.warm.empty() && isWritten && !WriteWarmStart(error)) return false;
  if (!isWritten && (!options.write.empty() || !options.warm.empty())) {
    PrintError("nothing is written of a proposal that is refused");
  }
  return true;
}

bool CTuneCommand::WriteText(std::string* error) const {
  const tuning::TController& controller = *proposal.controller;
  TProposedEntries entries;
  entries.law = tuning::LawName(controller.law);
  entries.r0 = tuned.Loop().now.r0 < 0.0 ? -controller.r0 : controller.r0;
  entries.tI = controller.tI;
  entries.tD = controller.tD;
  if (tuning::HasLag(controller.law) && controller.lag != kOwnLag) entries.lag = controller.lag;
  if (tuned.RegulatorCount() == 1 && controller.period != tuned.Application().Period()) {
    entries.period = controller.period;
  }
  const std::optional<std::string> text =
      ProposedText(tuned.Application(), tuned.Loop().instrument, options.loop.file, entries, error);
  return text && WriteWholeFile(options.write, *text, error);
}

bool CTuneCommand::WriteWarmStart(std::string* error) const {
  const tuning::TTuneOptions tune = Options();
  tuning::TWarmOptions warm;
  const std::string law = options.law.empty() ? tuned.Loop().now.law : options.law;
  for (const tuning::ELaw known : kTunedLaws) {
    if (tuning::LawName(known) == law) warm.law = known;
  }
  warm.lag = options.lag.value_or(kOwnLag);
  warm.period = proposal.controller->period;
  warm.nominalMs = tune.nominalMs;
  if (proposal.estimate.sigma > 0.0) {
    warm.greatestNoiseGain = kQuiet * (tune.outputHigh - tune.outputLow) / proposal.estimate.sigma;
  }
  const std::optional<tuning::TWarmStart> start = tuning::WarmStart(proposal.estimate.set, warm);
  if (!start) {
    *error = options.warm + ": no model holds the bounds on all that the records allow: a fixed law is the way";
    return false;
  }
  if (!WriteWholeFile(options.warm, tuning::ParameterFile(*start), error)) return false;
  std::string text = runtime::Translated("the definition for the warm start") + "\n  " +
                     tuning::WarmParameters(*start, std::filesystem::path(options.warm).filename().string()) + "\n";
  const std::string script = tuning::WarmScript(*start, tuned.Loop().instrument.Name());
  if (!script.empty()) text += runtime::Translated("and in a script") + "\n  " + script + "\n";
  if (options.json != kStandardOutput) Print(text);
  return true;
}

int Tune(TTuneCommandOptions options, const TCommonOptions& common) {
  TExperimentOptions& experiment = options.experiment;
  if (experiment.kind.empty()) {
    if (!options.loop.from.empty()) return CTuneCommand(options, common).Run();
    return Fail("tune needs --from with a record, or --experiment to make one", kCommandLineWrong);
  }
  if (experiment.record.empty() || !experiment.amplitude || experiment.bound.empty() || !experiment.longest) {
    return Fail("--experiment needs -o, --amplitude, --bound and --longest", kCommandLineWrong);
  }
  experiment.run.file = options.loop.file;
  experiment.run.assignments = options.loop.assignments;
  experiment.run.seed = options.loop.seed;
  experiment.instrument = options.loop.instrument;
  return RunExperiment(experiment, common);
}

std::vector<std::string> LawNames() {
  std::vector<std::string> names;
  for (const tuning::ELaw law : kTunedLaws) names.emplace_back(tuning::LawName(law));
  return names;
}

}  // namespace

TCommand TuneCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TTuneCommandOptions>();
  TExperimentOptions& experiment = options->experiment;
  constexpr char kSeconds[] = "a number of seconds";
  std::vector<TOption> rows =
      TunedOptions(options->loop, "Propose from these: traces, folders of run --record, data of a historian");
  rows.insert(
      rows.end(),
      {
          {"--law", "LAW", &options->law, "The law (default: takahashi, with noise takahashiDelay)", OneOf(LawNames()),
           "--from"},
          {"--lag", "X", &options->lag, "The lag of the derivative part, of tD (default: the least that noise allows)",
           Within(0.0, 10.0, "a number from 0 to 10"), "--from"},
          {"--ms", "X", &options->ms, "The largest sensitivity of the best model (default: 1.85)",
           Within(1.2, 2.0, "a number from 1.2 to 2"), "--from"},
          {"--period", "S", &options->period, "Seconds between periods that the design is for",
           AtLeast(0.001, "a number of seconds of at least 0.001"), "--from"},
          {"--write", "OUT.lbx", &options->write, "Write the application's text with the proposal in it", FileName(),
           "--from"},
          {"--warm", "FILE", &options->warm, "Write a parameter file by which a self-tuning regulator starts warm",
           FileName(), "--from"},
          {"--json", "FILE", &options->json, "Write the proposal as JSON; - is standard output", FileName(), "--from"},
          {"--report", "FILE.html", &options->report, "Write a page of the record, the fit, responses and margins",
           FileName(), "--from"},
          {"--experiment", "relay|step", &experiment.kind, "Make a record: take the regulator's output for a while",
           OneOf({kRelay, kStep}), nullptr, "--from"},
          {"-o", "RECORD.csv", &experiment.record, "The record that it writes, a trace", FileName(), "--experiment"},
          {"--amplitude", "A", &experiment.amplitude,
           "By how much the output is moved to either side, in its unit; below 0 it goes down first", NotZero(),
           "--experiment"},
          {"--bound", "LOW,HIGH", &experiment.bound, "Give the output back before the value leaves these, in its unit",
           Bound(), "--experiment"},
          {"--longest", "S", &experiment.longest, "Give it back after so many seconds", AtLeast(0.0, kSeconds),
           "--experiment"},
          {"--rows", "N", &experiment.rows, "Rows that a relay makes, instead of 20 cycles", Whole(1), "--experiment"},
          {"--after", "S", &experiment.after, "Let the application run so long first", AtLeast(0.0, kSeconds),
           "--experiment"},
          {"--plant", "WORDS", &experiment.run.plant,
           "Do it on the plant, in real time, by the application's connections; with words between commas by those "
           "named",
           nullptr, "--experiment"},
          ConnectionsOption(experiment.run.connections),
          {"--lose", "NAME@S-S", &experiment.run.losses,
           "Take an input or a connection that is simulated away from the first of these seconds to the second; may be "
           "repeated",
           NamedSpan(), "--experiment"},
          SetOption(options->loop.assignments),
          SeedOption(options->loop.seed),
          PluginOption(common),
          LanguageOption(common),
      });
  return {"tune", "Propose law and parameters from records, or make a record by an experiment", std::move(rows),
          [options, &common] { return Tune(*options, common); }};
}

}  // namespace workbench
