// A loop of a regulator's law and a sampled model: what it does at each frequency, how far it is from
// instability, and what its steps cost.
//
// The laws, with e = w - y, T0 the period, Tf = lag * tD:
//   classical        u(k) = u(k-1) + r0 [ (e(k) - e(k-1)) + (T0/tI) e(k) + (tD/T0) (e(k) - 2 e(k-1) + e(k-2)) ]
//   classicalDelay   (T0 + Tf) (u(k) - u(k-1)) = r0 [ T0 (1 + Tf/tI) (e(k) - e(k-1)) + (T0^2/tI) e(k)
//                                                + (tD + Tf) (e(k) - 2 e(k-1) + e(k-2)) ] + Tf (u(k-1) - u(k-2))
//   takahashi, takahashiDelay: the same, the differences of e replaced by those of -y.
#ifndef LOOPBOX_TUNING_LOOP_H
#define LOOPBOX_TUNING_LOOP_H

#include <complex>
#include <optional>
#include <string_view>
#include <vector>

#include "tuning/model.h"

namespace tuning {

// Numbered as in a definition.
enum class ELaw { kClassical = 1, kClassicalDelay = 2, kTakahashi = 3, kTakahashiDelay = 4 };
inline bool HasLag(ELaw law) { return law == ELaw::kClassicalDelay || law == ELaw::kTakahashiDelay; }
inline bool HasKick(ELaw law) { return law == ELaw::kClassical || law == ELaw::kClassicalDelay; }
std::string_view LawName(ELaw law);

struct TController {
  ELaw law = ELaw::kTakahashi;
  double r0 = 0;      // units of the output per unit of the value
  double tI = 0;      // s, > 0
  double tD = 0;      // s, >= 0
  double lag = 0.2;   // of tD; a law without lag ignores it
  double period = 0;  // s, that of the sampled model
};

// The law as polynomials in q^-1: denominator * u = wish * w - value * y.
// denominator = (1 - q^-1)(1 - rest q^-1).
struct TSampledLaw {
  double rest = 0;
  std::vector<double> denominator;
  std::vector<double> wish;
  std::vector<double> value;
};
TSampledLaw Sample(const TController& controller);

// Of the loop gain L(z) = G(z) C(z), C from the value to the output. omega in rad/s, up to pi/period.
std::complex<double> LoopGain(const TController& controller, const TSampledModel& model, double omega);

struct TMargins {
  bool stable = false;
  double ms = 0;                // max |1/(1 + L)|; infinite where not stable
  std::optional<double> gain;   // the least factor above 1 that makes it unstable; none where there is none
  std::optional<double> phase;  // degrees of lag that make it unstable; none where the gain never crosses 1
};

// The response of one model at frequencies that are close enough for every controller, so that many can be
// judged on it. The closed loop's polynomial P = A D + q^-(d+1) B V (model B/A, law V/D) is used in place of
// 1 + L = P/(A D): without the poles at 1 it needs no way around them, and the loop is stable where the phase
// of P returns to where it began.
class CFrequencyResponse {
 public:
  explicit CFrequencyResponse(const TSampledModel& model);

  // Infinite where not stable. To 1e-4.
  double Sensitivity(const TSampledLaw& law) const;
  double Sensitivity(const TController& controller) const { return Sensitivity(Sample(controller)); }
  TMargins Margins(const TController& controller) const;

 private:
  struct TPoint {
    double angle = 0;         // omega * period, 0 ... pi
    double re = 0, im = 0;    // q^-1
    double aRe = 0, aIm = 0;  // A
    double bRe = 0, bIm = 0;  // q^-(d+1) B
  };
  struct TLoopPoint;
  class CScan;

  TPoint At(double angle) const;
  void Refine(const TPoint& from, const TPoint& to, int depth);

  TSampledModel model;
  std::vector<TPoint> points;
};

TMargins Margins(const TController& controller, const TSampledModel& model);

// By the roots of the closed loop's polynomial (companion matrix, so of low degree): all within the unit circle.
bool IsStableByRoots(const TController& controller, const TSampledModel& model);

// Integrals of |e| after a unit step of the wish, and after a step `load` at the process' input; infinite where
// the loop doesn't settle. In units of the value times seconds, to 1e-3.
struct TCost {
  double setPoint = 0;
  double load = 0;
  double Sum() const { return setPoint + load; }
};
TCost Cost(const TSampledLaw& law, const TSampledModel& model, double load);
inline TCost Cost(const TController& controller, const TSampledModel& model, double load) {
  return Cost(Sample(controller), model, load);
}

// Value and output over n periods after a step of wish or load at instant 0, from rest.
struct TResponse {
  std::vector<double> value;
  std::vector<double> output;
};
TResponse Response(const TController& controller, const TSampledModel& model, double wish, double load, int n);

// The standard deviation at the output for white noise of standard deviation 1 added to the value; infinite
// where the loop doesn't settle.
double NoiseGain(const TSampledLaw& law, const TSampledModel& model);
inline double NoiseGain(const TController& controller, const TSampledModel& model) {
  return NoiseGain(Sample(controller), model);
}

}  // namespace tuning

#endif
