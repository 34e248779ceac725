#include "plant/input_watch.h"

#include <cmath>

namespace plant {

void CInputWatch::Judge(const TReading& reading, double now) {
  if (!since) since = now;
  quality = reading.quality;
  if (reading.time <= 0.0) {
    if (quality == EQuality::kGood) quality = EQuality::kLost;
    return;
  }
  value = reading.value;
  since = reading.time;
  if (quality == EQuality::kGood && now - reading.time > staleAfter) quality = EQuality::kStale;
}

void CInputWatch::JudgeSimulated(double computed, bool isTakenAway, double now) {
  if (!since) since = now;
  if (isTakenAway) {
    quality = EQuality::kLost;
  } else if (!std::isfinite(computed)) {
    quality = EQuality::kNotFinite;
  } else if (input->range && (computed < input->range->first || computed > input->range->second)) {
    quality = EQuality::kOutOfRange;
  } else {
    quality = EQuality::kGood;
    value = computed;
    since = now;
  }
}

double CInputWatch::Age(double now) const { return since ? now - *since : 0.0; }

}  // namespace plant
