// The supervisor of self-tuning: when identification starts, runs and stops, and
// what becomes of a step that fails.
//
//   off --error over 5 % of the wish pane, or RunIdentification--> counter 0
//   counter 1, 2: wait          counter 3 to 21: a step in each period
//   then: off, or counter 0 again when the last step still moved the model
#include <algorithm>
#include <cmath>
#include <iterator>

#include "pid/identification.h"
#include "pid/pid_regulator.h"
#include "pid/synthesis.h"

namespace loopbox {

namespace {

constexpr std::uint32_t kWaitingPeriods = 2;
constexpr std::uint32_t kLastPeriod = 21;
constexpr double kSettled = 0.001;       // the model no longer moves
constexpr double kStartingError = 0.05;  // of the wish pane's span

bool HasMoved(const TPidState& s) {
  for (std::size_t i = 0; i < kThetaLength; ++i) {
    if (std::fabs(s.theta[i] - s.thetaPrev[i]) > kSettled) return true;
  }
  return false;
}

}  // namespace

void CPidRegulator::StartIdentification() {
  supervision.identRunning = 1;
  supervision.identCounter = 0;
}

void CPidRegulator::NoteStep(bool sound, std::uint8_t& cancelled, TText message) {
  if (!sound && !cancelled) ReportError(message);
  cancelled = !sound;
}

void CPidRegulator::Identify() {
  const TPidState before = *state;
  const TIdentState identBefore = *identState;
  if (settings.refil) {
    RefilStep(*state);
  } else {
    IdentifyStep(*state, *identState);
  }
  const bool sound = IsFinite(*state, *identState);
  if (!sound) {
    *state = before;
    *identState = identBefore;
  }
  NoteStep(sound, supervision.identCancelled, Text<24>(u"Krok identifikace zrušen"));
}

// Parameters without a finite value are none. The replacement of b2 is a step of
// its own and stands all the same. The law variable has no use for r0, tI and tD,
// and a model that nothing is being learnt for gives no news.
void CPidRegulator::Synthesize() {
  TPidState& s = *state;
  const double r0 = s.r0;
  const double tI = s.tI;
  const double tD = s.tD;
  const double b2 = s.b2;
  ControllerSynthesis(s);
  if (!std::isfinite(s.b2)) s.b2 = b2;
  const bool sound = std::isfinite(s.r0) && std::isfinite(s.tI) && std::isfinite(s.tD);
  if (!sound) {
    s.r0 = r0;
    s.tI = tI;
    s.tD = tD;
  }
  const bool matters = supervision.identRunning && settings.regulatorType != kVariable;
  if (sound || matters) NoteStep(sound, supervision.synthesisCancelled, Text<24>(u"Výpočet parametrů zrušen"));
}

void CPidRegulator::SuperviseIdentification() {
  TPidState& s = *state;
  if (supervision.identRunning) {
    if (supervision.identCounter < kLastPeriod) {
      ++supervision.identCounter;
      return;
    }
    supervision.identRunning = 0;
    s.ThetaFromModel();
    if (HasMoved(s)) StartIdentification();
    return;
  }
  const double span = std::fabs(wishValueMeter->rangeTo - wishValueMeter->rangeFrom);
  if (std::fabs(s.value[1] - s.wish[1]) > kStartingError * span) StartIdentification();
}

void CPidRegulator::Supervise() {
  TPidState& s = *state;
  s.b2Prev = s.b2;
  SuperviseIdentification();
  if (supervision.identRunning && supervision.identCounter > kWaitingPeriods) {
    s.ThetaFromModel();
    std::copy(std::begin(s.theta), std::end(s.theta), s.thetaPrev);
    Identify();
  }
  Synthesize();
}

}  // namespace loopbox
