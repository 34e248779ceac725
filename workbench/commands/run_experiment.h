// `loopbox tune --experiment`: an experiment on one loop of an application, simulated or
// on a plant.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_EXPERIMENT_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_EXPERIMENT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workbench/commands/command.h"
#include "workbench/commands/run_options.h"

namespace workbench {

inline constexpr char kRelay[] = "relay";
inline constexpr char kStep[] = "step";

struct TExperimentOptions {
  TRunOptions run;  // of it: file, assignments, seed, plant, connections, losses
  std::string instrument;
  std::string kind;    // kRelay or kStep
  std::string record;  // the trace that it writes
  std::optional<double> amplitude;
  std::string bound;  // LOW,HIGH
  std::optional<double> longest;
  double after = 0.0;      // seconds that pass before the loop is to come to rest
  std::uint64_t rows = 0;  // of a relay; 0: so many cycles
};

// Yields the exit status.
int RunExperiment(const TExperimentOptions& options, const TCommonOptions& common);

}  // namespace workbench

#endif
