// What experiments on the batch record, good ones and such as mislead.
#ifndef LOOPBOX_BENCH_TUNING_RECORDS_H
#define LOOPBOX_BENCH_TUNING_RECORDS_H

#include <cstdint>
#include <string_view>

#include "bench/tuning/processes.h"
#include "tuning/estimator.h"

namespace batch {

enum class EExperiment { kRelay, kStep };

enum class EFault {
  kNone,
  kLoadStep,       // of 0.4 of the amplitude, somewhere in the middle third
  kNotAtRest,      // the value still moves as the record begins
  kDrift,          // of the level: over the record 20 % of the value's span
  kCutShort,       // before the process has answered: a third of a step's answer, two cycles of a relay
  kConstant,       // the input never changes
  kQuantised,      // to 1 % of the value's range, which is ten times the span
  kStickingValve,  // moves only what the input is off by more than 2 % of a range of ten amplitudes
  kHiddenLimit,    // the process gets half of the amplitude at most, the record doesn't tell
};
inline constexpr EFault kFaults[] = {EFault::kLoadStep,      EFault::kNotAtRest,  EFault::kDrift,
                                     EFault::kCutShort,      EFault::kConstant,   EFault::kQuantised,
                                     EFault::kStickingValve, EFault::kHiddenLimit};
std::string_view Name(EFault fault);

struct TExperiment {
  EExperiment experiment = EExperiment::kRelay;
  int rows = 800;        // a relay's: about 20 cycles at theta/10
  double period = 0;     // s, 0: the process' own theta/10
  double noise = 0;      // standard deviation as a share of a relay's peak to peak, of a step's change of the value
  double colour = 0;     // the noise's lag-one correlation; 0: white
  double amplitude = 1;  // of the input about its rest
  double highest = 1e9;  // the actuator's limit above rest: the record holds what reached the process
  EFault fault = EFault::kNone;
  std::uint64_t seed = 1;
};

// The relay switches by the noisy value, with a hysteresis of twice the noise. Both begin at rest. A step's record is
// as long as the process takes to settle, at most `rows`.
tuning::TRecord Record(const TProcess& process, const TExperiment& experiment);

// Peak to peak of the value in the relay's cycle without noise, or the value's change after the step.
double Span(const TProcess& process, const TExperiment& experiment);

}  // namespace batch

#endif
