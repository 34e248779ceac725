// What is written to the plant in the place of what an application wants: never
// beyond a limit, never faster than a rate, and safe where what it needs is bad.
#ifndef LOOPBOX_PLANT_GUARD_H
#define LOOPBOX_PLANT_GUARD_H

#include <cstdint>
#include <optional>

#include "plant/connections.h"

namespace plant {

// What is written, and why not what is wanted.
enum class EGuard : std::uint8_t { kOwn, kLimited, kHeld, kSafe, kLatched, kStopped };

struct TGuarded {
  double written = 0.0;
  // What whoever computes the output tracks from now on, since `safe` or a hold
  // stands; none: it is in charge.
  std::optional<double> tracked;
  EGuard why = EGuard::kOwn;
};

// Of one output. It knows no clock and no plant: the same calls, the same answers.
class COutputGuard {
 public:
  // The output outlives the guard.
  explicit COutputGuard(const TOutput& guardedOutput) : output(&guardedOutput) {}

  // What stands in the plant before anything is written.
  void StandAt(double value) { standing = value; }
  // In each period at its end, in seconds that rise: what the application wants, and
  // whether all that the output needs is good.
  TGuarded Decide(double time, double wanted, bool needsAreGood);
  // Of an output that latches: it may come back when all is good.
  void Acknowledge() { isLatched = false; }
  // From the next decision on the output is safe, if it has a safe value, whatever it
  // needs; and back.
  void Stop() { isStopped = true; }
  void Release() { isStopped = false; }

 private:
  bool HoldsBack(double time, bool needsAreGood);
  double Limited(double wanted, double seconds) const;

  const TOutput* output;
  std::optional<double> standing;  // written last, or found
  std::optional<double> badSince;  // seconds
  std::optional<double> decidedAt;
  bool isLatched = false;
  bool isStopped = false;
};

}  // namespace plant

#endif
