// What tuning found of a loop, in words and as JSON.
#ifndef LOOPBOX_WORKBENCH_RUN_TUNE_RESULT_H
#define LOOPBOX_WORKBENCH_RUN_TUNE_RESULT_H

#include <optional>
#include <string>
#include <vector>

#include "json/json.h"
#include "tuning/certificate.h"
#include "workbench/run/loop_record.h"
#include "workbench/run/tuned_loop.h"

namespace workbench {

// Of those that tuning knows.
inline constexpr tuning::ELaw kTunedLaws[] = {tuning::ELaw::kClassical, tuning::ELaw::kClassicalDelay,
                                              tuning::ELaw::kTakahashi, tuning::ELaw::kTakahashiDelay};

// One controller on the models of a loop.
struct TJudged {
  tuning::TController controller;
  tuning::TMargins nominal;
  tuning::TWorst worst;  // each by itself
  tuning::TCost cost;
  double noiseAtOutput = 0.0;  // standard deviation
};

// The processes of a loop by their sampled models, the nominal one first; a cost's load is
// a step of that size.
struct TLoopModels {
  std::vector<tuning::TSampledModel> sampled;
  double load = 1.0;
  double sigma = 0.0;  // of the value's noise
};
TLoopModels SampledModels(const tuning::TEstimate& estimate, double period);
TJudged Judge(const tuning::TController& controller, const TLoopModels& models);

// What the regulator acts by now, where tuning knows that law: its gain is that of the
// mirrored output where a higher output lowers the value.
std::optional<tuning::TController> ControllerOf(const TLoopSettings& settings, double period);

// All of them for people: what belongs to the loop, with its units.
struct TTuneResult {
  const TTunedLoop& loop;
  // None where a process block was linearised.
  const tuning::TEstimate* estimate = nullptr;
  std::size_t models = 0;
  std::optional<TJudged> proposed = {};
  std::optional<TJudged> now = {};
  std::optional<double> regret = {};
  std::vector<std::string> refused = {};
  std::vector<std::string> advice = {};
  std::optional<tuning::TAsk> ask = {};

  std::string Text() const;
  // Of the proposal, or of what acts now where there is none to propose (`margins`).
  json::CValue Value(bool ofNow) const;
};

}  // namespace workbench

#endif
