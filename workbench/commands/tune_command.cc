// `loopbox tune`: an experiment on a loop.
#include <memory>
#include <string>

#include "workbench/commands/commands.h"
#include "workbench/commands/run_experiment.h"
#include "workbench/console.h"

namespace workbench {
namespace {

int Tune(const TExperimentOptions& options, const TCommonOptions& common) {
  if (options.record.empty() || !options.amplitude || options.bound.empty() || !options.longest) {
    return Fail("--experiment needs -o, --amplitude, --bound and --longest", kCommandLineWrong);
  }
  return RunExperiment(options, common);
}

}  // namespace

TCommand TuneCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TExperimentOptions>();
  TRunOptions& run = options->run;
  constexpr char kSeconds[] = "a number of seconds";
  return {
      "tune",
      "Make a record of a loop by an experiment",
      {
          FileArgument(run.file),
          {.name = "INSTRUMENT",
           .value = "",
           .target = &options->instrument,
           .help = "The regulator",
           .isRequired = true},
          {"--experiment", "relay|step", &options->kind, "Make a record: take the regulator's output for a while",
           OneOf({kRelay, kStep}), nullptr, nullptr, true},
          {"-o", "RECORD.csv", &options->record, "The record that it writes, a trace", FileName()},
          {"--amplitude", "A", &options->amplitude,
           "By how much the output is moved to either side, in its unit; below 0 it goes down first", NotZero()},
          {"--bound", "LOW,HIGH", &options->bound, "Give the output back before the value leaves these, in its unit",
           Bound()},
          {"--longest", "S", &options->longest, "Give it back after so many seconds", AtLeast(0.0, kSeconds)},
          {"--rows", "N", &options->rows, "Rows that a relay makes, instead of 20 cycles", Whole(1)},
          {"--after", "S", &options->after, "Let the application run so long first", AtLeast(0.0, kSeconds)},
          {"--plant", "WORDS", &run.plant,
           "Do it on the plant, in real time, by the application's connections; with words between commas by those "
           "named",
           nullptr},
          ConnectionsOption(run.connections),
          {"--lose", "NAME@S-S", &run.losses,
           "Take an input or a connection that is simulated away from the first of these seconds to the second; may be "
           "repeated",
           NamedSpan()},
          {"--set", "NAME=VALUE", &run.assignments,
           "The initial value of a data element, a constant, or an entry of a definition (INSTRUMENT.KEYWORD); may be "
           "repeated",
           Assignment()},
          {"--seed", "N", &run.seed, "What random numbers start from (default: 1)", Whole(0)},
          PluginOption(common),
          LanguageOption(common),
      },
      [options, &common] { return Tune(*options, common); }};
}

}  // namespace workbench
