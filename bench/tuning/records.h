// What experiments on the batch record, good ones and such as mislead.
#ifndef LOOPBOX_BENCH_TUNING_RECORDS_H
#define LOOPBOX_BENCH_TUNING_RECORDS_H

#include <cstdint>
#include <string_view>

#include "bench/tuning/processes.h"
#include "tuning/estimator.h"

namespace batch {

enum class EExperiment { Relay, Step };

enum class EFault {
  None,
  LoadStep,       // of 0.4 of the amplitude, somewhere in the middle third
  NotAtRest,      // the value still moves as the record begins
  Drift,          // of the level: over the record 20 % of the value's span
  CutShort,       // before the process has answered: a third of a step's answer, two cycles of a relay
  Constant,       // the input never changes
  Quantised,      // to 1 % of the value's range, which is ten times the span
  StickingValve,  // moves only what the input is off by more than 2 % of a range of ten amplitudes
  HiddenLimit,    // the process gets half of the amplitude at most, the record doesn't tell
};
inline constexpr EFault kFaults[] = {EFault::LoadStep, EFault::NotAtRest, EFault::Drift,         EFault::CutShort,
                                     EFault::Constant, EFault::Quantised, EFault::StickingValve, EFault::HiddenLimit};
std::string_view Name(EFault fault);

struct TExperiment {
  EExperiment experiment = EExperiment::Relay;
  int rows = 800;        // a relay's: about 20 cycles at theta/10
  double period = 0;     // s, 0: the process' own theta/10
  double noise = 0;      // standard deviation as a share of a relay's peak to peak, of a step's change of the value
  double colour = 0;     // the noise's lag-one correlation; 0: white
  double amplitude = 1;  // of the input about its rest
  double highest = 1e9;  // the actuator's limit above rest: the record holds what reached the process
  EFault fault = EFault::None;
  std::uint64_t seed = 1;
};

// The relay switches by the noisy value, with a hysteresis of twice the noise. Both begin at rest. A step's record is
// as long as the process takes to settle, at most `rows`.
tuning::TRecord Record(const TProcess& process, const TExperiment& experiment);

// Peak to peak of the value in the relay's cycle without noise, or the value's change after the step.
double Span(const TProcess& process, const TExperiment& experiment);

}  // namespace batch

#endif
