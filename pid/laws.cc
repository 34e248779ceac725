// In every law a bracket is one intermediate result and the order of evaluation
// is part of the law: results are reproducible to the last bit.
#include "pid/laws.h"

#include <initializer_list>

#include "host/runlib.h"

namespace loopbox {

namespace {

double Error(const TPidState& s, int k) { return s.wish[k] - s.value[k]; }

}  // namespace

// Incremental PID on the control error, backward rectangles:
//
//   u(k) = u(k-1) + r0 [ (e(k) - e(k-1)) + (T0/tI) e(k) + (tD/T0) (e(k) - 2 e(k-1) + e(k-2)) ]
//
// Isermann, Digital Control Systems, 1989, ch. 5; Bobál, Böhm, Fessl, Macháček,
// Digital Self-tuning Controllers, 2005, ch. 4.
double ClassicalLaw(const TPidState& s) {
  const double e0 = Error(s, 0);
  const double e1 = Error(s, 1);
  const double e2 = Error(s, 2);
  const double derivative = ((e0 - e1 * 2.0) + e2) * (s.tD / s.dt);
  const double integral = (e0 / s.tI) * s.dt;
  const double proportional = e0 - e1;
  return ((derivative + integral) + proportional) * s.r0 + s.output[1];
}

// Proportional and derivative parts on the controlled value alone, so that a
// step of the wish value moves the output through the integral part only:
//
//   u(k) = u(k-1) + r0 [ (y(k-1) - y(k)) + (T0/tI) e(k) + (tD/T0) (2 y(k-1) - y(k) - y(k-2)) ]
//
// Takahashi, Rabins, Auslander, Control and Dynamic Systems, 1970.
double TakahashiLaw(const TPidState& s) {
  const double d = s.value[1] - s.value[0];
  const double derivative = ((s.value[1] + d) - s.value[2]) * (s.tD / s.dt);
  const double integral = (s.dt / s.tI) * (s.wish[0] - s.value[0]);
  return ((derivative + integral) + d) * s.r0 + s.output[1];
}

// The classical law with its derivative part lagged by 1 / (1 + Tf s), where
// Tf = derivationDelay tD, in backward differences:
//
//   (T0 + Tf) (u(k) - u(k-1)) = r0 [ T0 (1 + Tf/tI) (e(k) - e(k-1)) + (T0²/tI) e(k)
//                                    + (tD + Tf) (e(k) - 2 e(k-1) + e(k-2)) ] + Tf (u(k-1) - u(k-2))
//
// Åström, Hägglund, PID Controllers: Theory, Design, and Tuning, 1995, ch. 3.
double ClassicalDelayLaw(const TPidState& s) {
  const double e0 = Error(s, 0);
  const double e1 = Error(s, 1);
  const double e2 = Error(s, 2);
  const double tF = s.derivationDelay * s.tD;
  const double a = (((s.tI + tF) * (e0 - e1) + s.dt * e0) * (1.0 / s.tI)) * s.dt;
  const double b = ((e0 - e1 * 2.0) + e2) * (s.tD + tF);
  return (((a + b) * s.r0) + (s.output[1] - s.output[2]) * tF) * (1.0 / (s.dt + tF)) + s.output[1];
}

// Takahashi's law with the same lag:
//
//   (T0 + Tf) (u(k) - u(k-1)) = r0 [ T0 (1 + Tf/tI) (y(k-1) - y(k)) + (T0²/tI) e(k)
//                                    + (tD + Tf) (2 y(k-1) - y(k) - y(k-2)) ] + Tf (u(k-1) - u(k-2))
double TakahashiDelayLaw(const TPidState& s) {
  const double tF = s.derivationDelay * s.tD;
  const double d = s.value[1] - s.value[0];
  const double a = (((s.wish[0] - s.value[0]) * s.dt + (s.tI + tF) * d) * (1.0 / s.tI)) * s.dt;
  const double b = ((s.value[1] + d) - s.value[2]) * (s.tD + tF);
  return (((a + b) * s.r0) + (s.output[1] - s.output[2]) * tF) * (1.0 / (s.dt + tF)) + s.output[1];
}

// Pole placement for the identified model, designed anew in every period:
//
//   u(k) = K w(k) - q0 y(k) - q1 y(k-1) - q2 y(k-2) + (1 - γ) u(k-1) + γ u(k-2),  K = q0 + q1 + q2,
//
// with q0, q1, q2, γ from
//
//   (1 + a1 z⁻¹ + a2 z⁻²)(1 - z⁻¹)(1 + γ z⁻¹) + (b1 z⁻¹ + b2 z⁻²)(q0 + q1 z⁻¹ + q2 z⁻²) = 1 + d1 z⁻¹ + d2 z⁻²,
//
// whose right side is the discrete image of the poles of s² + 2 ksi omega s + omega².
// Bobál, Böhm, Fessl, Macháček, Digital Self-tuning Controllers, 2005, ch. 4
// (the PID-A 2 controller of second order).
double VariableLaw(TPidState& s) {
  const double w = s.omega * s.dt;
  const double x = s.ksi * w;
  double c = 0.0;
  if (s.ksi > 1.0) {
    c = runlib::RealCosh(runlib::RealSqrt(s.ksi * s.ksi - 1.0) * w);
  } else {
    c = runlib::RealCos(runlib::RealSqrt(1.0 - s.ksi * s.ksi) * w);
  }
  const double d1 = -((c * runlib::RealExp(-x)) * 2.0);
  const double d2 = runlib::RealExp(-(x * 2.0));

  const double sum = s.b1 + s.b2;
  const double m = s.a1 * s.b2 - s.a2 * s.b1;
  const double n = (((s.b1 * d2 - s.b2 * d1) - s.b2) * s.b2 + m * sum) * s.a2;
  double r = (s.b1 * m - s.b2 * s.b2) * sum;
  if (r == 0.0) r = 1.0;
  for (double* coefficient : {&s.a2, &s.b2, &s.b1}) {
    if (*coefficient == 0.0) *coefficient = 1.0;
  }

  const double q2 = n / r;
  const double gamma = ((1.0 / s.a2) * s.b2) * q2;
  const double q1 = (1.0 / s.b2) * s.a2 - ((((1.0 / s.b2) * s.b1) - ((1.0 / s.a2) * s.a1)) + 1.0) * q2;
  const double q0 = (((d1 + 1.0) - s.a1) - gamma) / s.b1;
  const double k = (q0 + q1) + q2;
  return (k * s.wish[0] - (((s.value[0] * q0 + s.value[1] * q1) + s.value[2] * q2) + (gamma - 1.0) * s.output[1])) +
         s.output[2] * gamma;
}

}  // namespace loopbox
