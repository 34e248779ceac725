// Whether a proposal may be trusted: how much it could lose against the best for any model that the data don't
// rule out, and what speaks against the records.
#ifndef LOOPBOX_TUNING_CERTIFICATE_H
#define LOOPBOX_TUNING_CERTIFICATE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tuning/design.h"
#include "tuning/estimator.h"

namespace tuning {

enum class EExperiment { kRelay, kStep };

struct TAsk {
  EExperiment experiment = EExperiment::kRelay;
  int rows = 0;
};

struct TWorst {
  double ms = 0;
  std::optional<double> gain;
  std::optional<double> phase;
};

// All that `loopbox tune` tells of one proposal. Sentences are the system's own: whole, with their numbers.
struct TProposal {
  std::optional<TController> controller;  // none where no safe one exists
  TEstimate estimate;
  TMargins nominal;
  TWorst worst;  // each by itself over the set
  TCost cost;    // for the nominal model, `load` a step of DesignLoad
  std::optional<double> regret;
  double noiseAtOutput = 0;  // standard deviation
  std::vector<std::string> refused;
  std::vector<std::string> advice;
  std::optional<TAsk> ask;
};

struct TTuneOptions {
  std::optional<ELaw> law;  // none: chosen by the noise
  std::optional<double> lag;
  double period = 0;         // s, of the loop
  bool fixedPeriod = false;  // false: a better one is advice, or taken where it may
  double nominalMs = 1.85;
  double outputLow = 0;  // the output's range
  double outputHigh = 100;
  double valueLow = 0;  // the value's pane
  double valueHigh = 100;
  bool inverse = false;  // the output is mirrored: estimate and controller are those of what it mirrors
  std::uint64_t seed = 1;
};

// From what was estimated already, of records whose outputs are mirrored where the instrument's is.
TProposal Propose(const TEstimate& estimate, const std::vector<TRecord>& records, const TTuneOptions& options);

TProposal Tune(const std::vector<TRecord>& records, const TTuneOptions& options);

// max over the extreme models of the set of J(controller) / min J; none where the controller isn't stable on one.
std::optional<double> Regret(const TController& controller, const std::vector<TModel>& set,
                             const TDesignOptions& options);

}  // namespace tuning

#endif
