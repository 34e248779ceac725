// What a self-tuning regulator may begin with instead of a cold start.
//
// Its file sets the model alone,
//
//   y(k) + a1 y(k-1) + a2 y(k-2) = b1 u(k-1) + b2 u(k-2),
//
// from which it computes its parameters anew in every period T0, those of the first four laws by the critical
// gain Kc and period Tk that proportional control of this model would have:
//
//   r0 = 0.6 Kc (1 - T0/Tk)      tI = (Tk - T0)/2      tD = Tk^2/(8 (Tk - T0))
//
// These are too bold for most processes. So the model is not the process' own, but the one from which parameters
// follow that are good for it: with tI > T0/2 and r0 chosen, Tk = 2 tI + T0, Kc = r0/(0.6 (1 - T0/Tk)), and
// b2 = (1 - a2)/Kc, b1 = (-2 cos(2 pi T0/Tk) - a1)/Kc put a complex pair on the unit circle at Kc. The law
// variable places poles by the model: there it is one of second order, whose numerator stands for all dead time.
#ifndef LOOPBOX_TUNING_WARM_START_H
#define LOOPBOX_TUNING_WARM_START_H

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tuning/loop.h"

namespace tuning {

struct TWarmOptions {
  std::optional<ELaw> law = std::nullopt;  // none: variable
  double lag = 0.2;                        // of tD, in a law with lag
  double period = 0;                       // s
  double nominalMs = 1.85;                 // the bound for the best model
  double worstMs = 2.0;                    // for every model of the set
  // From the value to the output; where nothing else holds, twice as much, and so on.
  double greatestNoiseGain = std::numeric_limits<double>::infinity();
};

struct TWarmStart {
  std::optional<ELaw> law;  // none: variable
  double a1 = 0, a2 = 0, b1 = 0, b2 = 0;
  TController controller;  // what follows from them; of variable nothing
  double omega = 0;        // 1/s, of variable, its param_2; param_1, ksi, is 1
  double ms = 0;           // for set[0]
};

// set[0] is the nominal model; the largest sensitivity is at most nominalMs for it and worstMs for all. A gain below
// 0 is that of a process whose regulator is `inverse`. None where nothing holds the bounds.
std::optional<TWarmStart> WarmStart(const std::vector<TModel>& set, const TWarmOptions& options);

// variable as polynomials. Its controller has the pole -gamma = law.rest.
TSampledLaw Sample(const TWarmStart& start, double period);

// The bytes of the file that `file_name` names, 60, little-endian: the law's code in 32 bits (1 classical,
// 2 takahashi, 3 classicalDelay, 4 takahashiDelay, 5 variable), then as doubles a coefficient of u(k), -a1, b1,
// -a2, b2, the forgetting coefficient, rho.
std::string ParameterFile(const TWarmStart& start);

// What the definition says beside `adaptive = true;`, and what keeps the first four laws from learning: a line of a
// script, empty for variable. Identification isn't begun by an error of under 1/20 of the wish pane's span.
std::string WarmParameters(const TWarmStart& start, const std::string& file);
std::string WarmScript(const TWarmStart& start, const std::string& instrument);

}  // namespace tuning

#endif
