// What in records a model from rest doesn't explain: each kind of disturbance as further columns of the linearised
// fit, and what they take from its residuals.
#ifndef LOOPBOX_TUNING_EVIDENCE_H
#define LOOPBOX_TUNING_EVIDENCE_H

#include "tuning/output_error.h"

namespace tuning {

// The part of the sum of squares that each kind explains; 0 where chance alone explains as much, or where it moves
// the value by next to nothing.
double LoadStep(const COutputError& records, const TModel& model, const TKind& kind);
double Drift(const COutputError& records, const TModel& model, const TKind& kind);
double NotAtRest(const COutputError& records, const TModel& model, const TKind& kind);

// 1 + 2 x the autocorrelations of the residuals from the first on while they are significant.
double Inflation(const std::vector<TRecord>& records, const std::vector<double>& residuals);

}  // namespace tuning

#endif
