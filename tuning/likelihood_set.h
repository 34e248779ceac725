// All models that records don't rule out: drawn along the covariance of a fit, and a profile of its dead time with
// the other numbers fitted anew, each checked by its own sum of squares. An ellipsoid of the covariance alone would
// hold models that the records do rule out, and lack some that they don't.
#ifndef LOOPBOX_TUNING_LIKELIHOOD_SET_H
#define LOOPBOX_TUNING_LIKELIHOOD_SET_H

#include <cstdint>
#include <vector>

#include "tuning/output_error.h"

namespace tuning {

// Of the model's numbers `by`, by rows, for residuals of variance 1.
std::vector<double> Covariance(const COutputError& records, const TModel& model,
                               const std::vector<double TModel::*>& by);

// By how much the sum of squares may exceed the least one, as a factor.
double LikelihoodBound(const COutputError& records, double inflation);

// The fit's model first; about 25.
std::vector<TModel> LikelihoodSet(const COutputError& records, const TFit& fit, const TKind& kind, double inflation,
                                  std::uint64_t seed);

}  // namespace tuning

#endif
