// A process as its design sees it:
//
//              (k + kb s) e^{-L s}
//   G(s) = -------------------------------,    tau, eps, L, T3 >= 0
//           (tau s^2 + s + eps)(1 + T3 s)
//
// eps = 0: integrating, k its gain in units of the value per unit of the input and second.
// eps > 0: the static gain is k/eps. First order: tau = T3 = kb = 0. Seconds throughout.
#ifndef LOOPBOX_TUNING_MODEL_H
#define LOOPBOX_TUNING_MODEL_H

#include <vector>

namespace tuning {

struct TModel {
  double k = 0;
  double kb = 0;
  double L = 0;
  double tau = 0;
  double eps = 0;
  double T3 = 0;
};

// y(j) = - a1 y(j-1) - ... + b0 u(j-1-delay) + b1 u(j-2-delay) + ...
// where u(j) acts from the instant j until the next one, and y(j) is the value at the instant j.
struct TSampledModel {
  double period = 0;                // s
  int delay = 0;                    // whole periods beside the one of the hold
  std::vector<double> numerator;    // b0, b1, ...
  std::vector<double> denominator;  // 1, a1, ...
};

// Exact for an input that holds its value between instants, L a fraction of the period or not.
TSampledModel Sample(const TModel& model, double period);

// The values at the instants 0 ... n-1, at rest (all 0) before. input.size() == n.
std::vector<double> Simulate(const TSampledModel& model, const std::vector<double>& input);

// What rules of thumb know of a model, by halving its second lag (Skogestad, J. Process Control 13, 2003):
// a self-regulating one by gain, lag and dead time, an integrating one by k and dead time (lag: infinity).
struct TApparent {
  double gain = 0;
  double lag = 0;       // s
  double deadTime = 0;  // s
};
TApparent Apparent(const TModel& model);

}  // namespace tuning

#endif
