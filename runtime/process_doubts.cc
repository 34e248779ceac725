// What is doubtful about an application's process and times, and how the process
// answers where it stands.
#include <cmath>

#include "runtime/instruments/application_state.h"
#include "runtime/simulation/process_probe.h"
#include "runtime/text/number_format.h"

namespace runtime {

std::vector<TDoubt> CApplication::Doubts() const {
  std::vector<TDoubt> doubts;
  CLexer lexer(state->source);
  for (TTextError& doubt : state->process.Doubts(lexer)) doubts.push_back({doubt.offset, std::move(doubt.message)});
  const double ratio = state->duration / state->period;
  const double excess = ratio - static_cast<double>(state->periodCount);
  if (state->durationOffset != 0 && state->periodCount != 0 && excess > kForgivenRounding * ratio) {
    doubts.push_back(
        {state->durationOffset, "the duration is no multiple of the period: the last period ends at " +
                                    ShortestNumber(static_cast<double>(state->periodCount) * state->period) + " s"});
  }
  return doubts;
}

// Of real rates the method's steps are stable up to 2.78 / rate, of imaginary ones up
// to 2.83 / rate; with one of 1 / rate a step errs by less than a hundredth.
std::optional<TDoubt> CApplication::StepDoubt() const {
  constexpr double kLongest = 2.0;
  constexpr double kRounding = 0.999;  // a rate is that of differences
  const auto fastest = CProcessProbe(state->process).FastestRate();
  const double step = state->period / state->process.Substeps();
  if (!fastest || step * fastest->rate <= kLongest) return std::nullopt;
  const double needed = std::ceil(kRounding * state->period * fastest->rate);
  char text[160];
  std::snprintf(text, sizeof text, "a step of %.4g s is too long for a rate of %.4g 1/s: ", step, fastest->rate);
  return TDoubt{fastest->mark, text + (needed <= kMaximumSubsteps
                                           ? "substeps = " + std::to_string(static_cast<int>(needed)) + " would do"
                                           : std::string("more substeps than there may be, or a shorter period"))};
}

int CApplication::Direction(TItem output, TItem value, double change, std::uint64_t work) const {
  const TDataElement& input = state->data[static_cast<std::int32_t>(output.element)];
  const TDataElement& answer = state->data[static_cast<std::int32_t>(value.element)];
  if (input.type != EType::kReal || answer.type != EType::kReal) return 0;
  if (!CProcessProbe::Suffices(state->process, work)) return 0;
  return CProcessProbe(state->process)
      .Direction(input.Reals() + output.item, answer.Reals() + value.item, change,
                 {state->duration, state->period / state->process.Substeps(), work});
}

}  // namespace runtime
