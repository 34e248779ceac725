#include "plant/guard.h"

#include <algorithm>

#include "runtime/runtime.h"

namespace plant {

// Whether the output is to be safe. A loss that lasts no longer than it may is a hold.
bool COutputGuard::HoldsBack(double time, bool needsAreGood) {
  if (needsAreGood) {
    badSince.reset();
    return isLatched;
  }
  if (!badSince) badSince = time;
  if (isLatched) return true;
  switch (output->onLoss) {
    case EOnLoss::kKeep:
      return false;
    case EOnLoss::kHold:
      // Nothing stands that could be held.
      if (standing && time - *badSince < output->holdFor * (1.0 - runtime::kForgivenRounding)) return false;
      break;
    case EOnLoss::kSafe:
      break;
  }
  isLatched = output->latches;
  return true;
}

// The limit has the last word: what was found in the plant may lie beyond it.
double COutputGuard::Limited(double wanted, double seconds) const {
  double value = wanted;
  if (output->rate && standing) {
    const double change = *output->rate * seconds;
    value = std::clamp(value, *standing - change, *standing + change);
  }
  return output->limit ? std::clamp(value, output->limit->first, output->limit->second) : value;
}

TGuarded COutputGuard::Decide(double time, double wanted, bool needsAreGood) {
  // What was found moves from the second decision on.
  const double seconds = decidedAt ? time - *decidedAt : 0.0;
  decidedAt = time;
  TGuarded guarded;
  const bool holdsBack = HoldsBack(time, needsAreGood);
  if ((holdsBack || isStopped) && output->safe) {
    guarded.tracked = output->safe;
    guarded.why = isStopped ? EGuard::kStopped : isLatched ? EGuard::kLatched : EGuard::kSafe;
  } else if (badSince && standing) {
    guarded.tracked = standing;
    guarded.why = EGuard::kHeld;
  }
  guarded.written = guarded.tracked ? *guarded.tracked : Limited(wanted, seconds);
  if (!guarded.tracked && guarded.written != wanted) guarded.why = EGuard::kLimited;
  standing = guarded.written;
  return guarded;
}

}  // namespace plant
