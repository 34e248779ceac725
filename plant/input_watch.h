// How good an input is, from what its link or its simulation says of it.
#ifndef LOOPBOX_PLANT_INPUT_WATCH_H
#define LOOPBOX_PLANT_INPUT_WATCH_H

#include <optional>

#include "plant/connections.h"
#include "plant/links.h"
#include "plant/quality.h"

namespace plant {

// Of one input. Times are seconds of one clock that starts anywhere.
class CInputWatch {
 public:
  // The input outlives the watch. A value is stale after so many seconds.
  CInputWatch(const TInput& watchedInput, double secondsToStale) : input(&watchedInput), staleAfter(secondsToStale) {}

  // What a link says, at a time of its clock.
  void Judge(const TReading& reading, double now);
  // What the process computed.
  void JudgeSimulated(double value, bool isTakenAway, double now);

  // What it was in an earlier run.
  void Take(EQuality earlier, double itsValue) {
    quality = earlier;
    value = itsValue;
  }

  EQuality Quality() const { return quality; }
  // The last good one; none: there was none yet.
  std::optional<double> Value() const { return value; }
  double Age(double now) const;  // of it; where there is none, since the first look

 private:
  const TInput* input;
  double staleAfter;
  EQuality quality = EQuality::kLost;
  std::optional<double> value;
  std::optional<double> since;  // of the value, or the first look
};

}  // namespace plant

#endif
