// r0, tI and tD that make IAE(unit step of the wish) + IAE(step of the load) least, within a bound on the largest
// sensitivity, for one model and then for all of a set (Nelder and Mead, Computer Journal 7, 1965, for the search).
#ifndef LOOPBOX_TUNING_DESIGN_H
#define LOOPBOX_TUNING_DESIGN_H

#include <optional>
#include <vector>

#include "tuning/loop.h"

namespace tuning {

struct TDesignOptions {
  ELaw law = ELaw::TakahashiDelay;
  double lag = 0.2;
  double period = 0;        // s
  double nominalMs = 1.85;  // the bound for the best model
  double worstMs = 2.0;     // for every model of the set
  bool derivative = true;   // false: tD = 0
};

// The step of the load that a cost is for: max(1/K, T/(4 K theta)), integrating 1/(4 K theta), of the apparent model.
double DesignLoad(const TModel& model);

// set[0] is the nominal model. None where no parameters hold the bounds on all.
std::optional<TController> Design(const std::vector<TModel>& set, const TDesignOptions& options);

// The least cost for one model within Ms <= bound, for the regret.
std::optional<TController> Best(const TModel& model, const TDesignOptions& options, double bound);

}  // namespace tuning

#endif
