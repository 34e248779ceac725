// Rows of a loop's record, whatever they hold, and what tuning makes of them. The first byte chooses how far it goes,
// since each step takes longer than the one before: models, a warm start by them, a proposal. Models and starts are
// finite; a proposal is finite and stable, or refused with sentences.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "fuzz/harness.h"
#include "tuning/certificate.h"
#include "tuning/warm_start.h"

namespace {

constexpr std::size_t kMostRows = 40;  // each takes time
constexpr std::uint8_t kStarts = 224;
constexpr std::uint8_t kProposes = 252;
constexpr double kPeriod = 1;

tuning::TRecord Rows(fuzz::CBytes* bytes) {
  tuning::TRecord record;
  record.period = kPeriod;
  while (!bytes->IsAtEnd() && record.input.size() < kMostRows) {
    const std::uint8_t kind = bytes->Byte();
    record.input.push_back(kind & 1 ? bytes->Real() : kind & 2 ? 10 : -10);
    record.output.push_back(kind & 4 ? bytes->Real() : bytes->Byte() / 16.0);
    record.used.push_back(kind < 0xF0);
  }
  return record;
}

void CheckModels(const tuning::TEstimate& estimate) {
  fuzz::Check(!estimate.set.empty(), "there is a model");
  for (const tuning::TModel& model : estimate.set) {
    fuzz::Check(std::isfinite(model.k + model.kb + model.L + model.tau + model.eps + model.T3), "a model is finite");
    fuzz::Check(std::min({model.L, model.tau, model.eps, model.T3}) >= 0, "its times have passed");
  }
}

void CheckStart(const tuning::TEstimate& estimate, std::optional<tuning::ELaw> law) {
  const tuning::TWarmOptions options = {.law = law, .period = kPeriod};
  const auto start = tuning::WarmStart({estimate.model}, options);
  if (!start) return;
  fuzz::Check(std::isfinite(start->a1 + start->a2 + start->b1 + start->b2 + start->omega), "a start is finite");
  fuzz::Check(start->ms <= options.nominalMs, "a start holds its bound");
}

void CheckProposal(const tuning::TProposal& proposal) {
  for (const auto& sentences : {proposal.refused, proposal.advice}) {
    for (const std::string& sentence : sentences) fuzz::Check(sentence.ends_with("."), "what is told is a sentence");
  }
  fuzz::Check(proposal.controller || !proposal.refused.empty(), "what isn't proposed is refused");
  if (!proposal.controller) return;
  const tuning::TController& controller = *proposal.controller;
  fuzz::Check(std::isfinite(controller.r0) && controller.r0 != 0, "r0 acts");
  fuzz::Check(std::isfinite(controller.tI) && controller.tI > 0, "tI integrates");
  fuzz::Check(std::isfinite(controller.tD) && controller.tD >= 0, "tD is no time before now");
  fuzz::Check(proposal.nominal.stable, "what is proposed is stable");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  fuzz::CBytes bytes(data, size);
  const std::uint8_t effort = bytes.Byte();
  const std::uint8_t choice = bytes.Byte();
  const tuning::TRecord record = Rows(&bytes);
  try {
    if (effort >= kProposes) {
      tuning::TTuneOptions options;
      options.period = kPeriod;
      options.inverse = choice % 2 > 0;
      CheckProposal(tuning::Tune({record}, options));
      return 0;
    }
    tuning::TEstimateOptions options;
    options.integrating = choice % 2 > 0;
    const tuning::TEstimate estimate = tuning::Estimate({record}, options);
    CheckModels(estimate);
    if (effort < kStarts) return 0;
    const std::optional<tuning::ELaw> laws[] = {tuning::ELaw::kClassical, tuning::ELaw::kTakahashiDelay, std::nullopt};
    CheckStart(estimate, laws[choice / 2 % std::size(laws)]);
  } catch (const std::invalid_argument&) {  // the record tells nothing
  }
  return 0;
}
