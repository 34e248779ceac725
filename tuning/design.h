// r0, tI and tD that make IAE(unit step of the wish) + IAE(step of the load) least, within a bound on the largest
// sensitivity, for one model and then for all of a set (Nelder and Mead, Computer Journal 7, 1965, for the search).
#ifndef LOOPBOX_TUNING_DESIGN_H
#define LOOPBOX_TUNING_DESIGN_H

#include <optional>
#include <vector>

#include "tuning/loop.h"

namespace tuning {

struct TDesignOptions {
  ELaw law = ELaw::kTakahashiDelay;
  double lag = 0.2;
  double period = 0;        // s
  double nominalMs = 1.85;  // the bound for the best model
  double worstMs = 2.0;     // for every model of the set
  bool derivative = true;   // false: tD = 0
};

// The step of the load that a cost is for: max(1/K, T/(4 K theta)), integrating 1/(4 K theta), of the apparent model;
// a dead time below half of the loop's period is taken as that.
double DesignLoad(const TModel& model, double period);

// set[0] is the nominal model. None where no parameters hold the bounds on all.
std::optional<TController> Design(const std::vector<TModel>& set, const TDesignOptions& options);

// The least cost of a sampled process within Ms <= bound, searched from each of the starts; none where there is
// none. The gain's sign is that of the starts.
std::optional<TController> Best(const TSampledModel& model, double load, const std::vector<TController>& starts,
                                double bound, bool derivative = true);

// Rules of thumb for a model, as starts of a search.
std::vector<TController> Starts(const TModel& model, const TDesignOptions& options);

}  // namespace tuning

#endif
