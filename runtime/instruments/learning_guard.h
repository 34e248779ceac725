// `guard = LOW, HIGH;`: an adaptive instrument acts by what it learnt only while that
// is good. A set is what it learnt in a period: r0, tI and tD.
//
//   good  r0 > 0, tI > 0, tD >= 0, all finite: identification sees the law's own
//         direction, under `inverse` too
//   kept  good, and each of the three over its reference lies between LOW and HIGH;
//         where a reference is 0, that one only has to be good
//
// The reference is what the definition gives as param_1 to param_3. Where it doesn't
// give all three, it is the first good set after identification has stopped, and
// not started again in the period after: the loop was near its wish then. From the
// first set that is kept on, one that is not ends the learning: its output is held,
// and the instrument goes on by the last one that was kept, no longer adaptive.
//
// Until then there is nothing to fall back to for good, and a plant whose output only
// is held neither comes to its wish nor teaches anything. So a set that fails holds
// the output for its period; in the next one the instrument isn't adaptive and acts
// by the stand-in: the reference that the definition gives, else the first good set.
// The two take turns until a set doesn't fail.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_LEARNING_GUARD_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_LEARNING_GUARD_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "host/hx_main.h"
#include "runtime/instruments/reading.h"

namespace runtime {

// What changes in a guard while it runs.
struct TGuardState {
  using TSet = std::array<double, 3>;  // r0, tI, tD

  std::optional<TSet> reference;
  std::optional<TSet> standIn;
  std::optional<TSet> kept;  // last
  bool hasRun = false;       // identification
  std::uint32_t rested = 0;  // periods without it since, one after another
  bool hasLearnt = false;    // it has stopped
  bool fails = false;        // what was learnt last
  bool hasSaidSo = false;
  bool hasEnded = false;  // the learning
  bool turns = false;     // the stand-in acts next
  bool acts = false;      // in this period
};

class CLearningGuard : private TGuardState {
 public:
  // Reads what follows the keyword, without the ";". Throws TTextError.
  CLearningGuard(hx_vinst::CInstrument& instrument, TReading& reading);

  // When all has been read. Throws TTextError where the instrument isn't adaptive,
  // or param_1 to param_3 are no good set.
  void Check();

  void BeforeAction();
  // At OnOutput, in a period in which the instrument regulates: whether the output is
  // to stay as it was before.
  bool Holds();
  void AfterAction();
  // Whether what was learnt may be kept over the end of the run.
  bool MayKeep() const { return !hasEnded && !fails; }

  const TGuardState& State() const { return *this; }
  void SetState(const TGuardState& state) { static_cast<TGuardState&>(*this) = state; }

 private:
  bool IsAdaptive() const;
  void SetAdaptive(bool adaptive) const;
  void NoteIdentification();
  bool Passes(const TSet& set) const;
  void Fail(const TSet& set);
  void Report(const std::string& text) const;

  hx_vinst::CInstrument& instrument;
  std::uint32_t mark;  // of the keyword
  double low = 0.0;
  double high = 0.0;
};

}  // namespace runtime

#endif
