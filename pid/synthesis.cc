#include "pid/synthesis.h"

#include "host/runlib.h"

namespace loopbox {

// Under proportional control of gain K the closed loop has the polynomial
//
//   z² + (a1 + b1 K) z + (a2 + b2 K).
//
// A complex pair reaches the unit circle at K1 = (1 - a2)/b2, a real pole
// reaches -1 at K2 = (a1 - a2 - 1)/(b2 - b1). The first of them is the critical
// gain Kc, and the oscillation there has the critical period Tk, which is 2 T0
// at -1. Then, by the critical-gain rule in discrete form,
//
//   r0 = 0.6 Kc (1 - T0/Tk),  r0 T0/tI = 1.2 Kc T0/Tk,  r0 tD/T0 = 0.075 Kc Tk/T0.
//
// Ziegler, Nichols, Optimum settings for automatic controllers, Trans. ASME 64,
// 1942; Takahashi, Chan, Auslander, Parametereinstellung bei linearen
// DDC-Algorithmen, Regelungstechnik 19, 1971; Bobál, Böhm, Fessl, Macháček,
// Digital Self-tuning Controllers, 2005, ch. 4.
void ControllerSynthesis(TPidState& s) {
  constexpr double kTwoPi = 6.283185307179586;
  constexpr double kNearOne = 0.999999;

  if (!(s.b2 > 0.0) || s.b1 == s.b2) s.b2 = s.b2Prev;
  const double k1 = (1.0 - s.a2) / s.b2;
  const double k2 = ((s.a1 - s.a2) - 1.0) / (s.b2 - s.b1);
  const double p = s.b1 * k1 + s.a1;
  const double delta = p * p - (s.b2 * k1 + s.a2) * 4.0;

  double kC = k2;
  double tK = s.dt * 2.0;
  if (!(delta > 0.0)) {
    double c = -(p * 0.5);
    if (c > 1.0) {
      c = kNearOne;
    } else if (c < -1.0) {
      c = -kNearOne;
    }
    tK = (kTwoPi / runlib::RealArcCos(c)) * s.dt;
    kC = k1;
  }
  s.r0 = ((1.0 - s.dt / tK) * kC) * 0.6;
  s.tI = ((0.8333333333333334 / kC) * s.r0) * tK;
  s.tD = ((0.075 / s.r0) * tK) * kC;
}

}  // namespace loopbox
