// Output-error fit of the continuous model to records: its numbers but k and kb by Levenberg-Marquardt, these two and
// a level for each record by linear least squares within (variable projection; its derivatives after Kaufman,
// BIT 15, 1975, 49-57). The residuals are those of the simulated value: feedback within a record does no harm.
#ifndef LOOPBOX_TUNING_OUTPUT_ERROR_H
#define LOOPBOX_TUNING_OUTPUT_ERROR_H

#include <array>
#include <vector>

#include "tuning/estimator.h"
#include "tuning/levenberg_marquardt.h"
#include "tuning/model.h"

namespace tuning {

// Which numbers are free. Orders as in TEstimate; L is free but for a profile.
struct TKind {
  int order = 1;
  bool integrating = false;  // eps = 0
  bool fixedDelay = false;
  bool lagFirst = false;  // order 3 has the third lag instead of the zero
  bool HasZero() const { return order >= (lagFirst ? 4 : 3); }
  bool HasThird() const { return order >= (lagFirst ? 3 : 4); }
  std::vector<double TModel::*> Nonlinear() const;
  std::vector<double TModel::*> All() const;  // k and kb too, in front
};

struct TFit {
  TModel model;
  double sum = 0;  // of the weighted squares of the residuals
};

class COutputError {
 public:
  // Records are whole (Estimate has looked).
  explicit COutputError(const std::vector<TRecord>& records);

  int Rows() const { return rows; }             // all that are fitted
  double Period() const { return period; }      // the shortest of the records, s
  double Duration() const { return duration; }  // of the longest record, s

  // Weighs each record by the deviation of its residuals.
  void Weigh(const TModel& model);
  const std::vector<double>& Sigmas() const { return sigmas; }

  // The same model with the best k, and kb where there is a zero.
  TFit Project(TModel model, bool zero) const;
  TFit Fit(const TModel& start, const TKind& kind) const;
  double Sum(const TModel& model) const;
  // Of the nonlinear numbers, with k and kb following them.
  TNormalEquations Normal(const TModel& model, const TKind& kind) const;

  // Residuals over the sigmas, levels taken out; 0 in rows that aren't fitted. Records one after the other.
  std::vector<double> Residuals(const TModel& model) const;
  // Derivatives of the simulated value by these numbers, treated alike.
  std::vector<std::vector<double>> Derivatives(const TModel& model, const std::vector<double TModel::*>& by) const;
  // Any values of all records, treated alike.
  std::vector<double> Weighted(const std::vector<std::vector<double>>& values) const;

  std::vector<std::vector<double>> Simulated(const TModel& model) const;  // without levels
  std::vector<double> Levels(const TModel& model) const;
  const std::vector<TRecord>& Records() const { return data; }  // inputs less their first

 private:
  double SumOf(const std::vector<double>& residuals) const;

  std::vector<TRecord> data;
  std::vector<double> sigmas;
  std::vector<double> least;    // that a sigma can be: numbers of a clean record are no more exact
  std::vector<double> outputs;  // weighted
  int rows = 0;
  double period = 0;
  double duration = 0;
};

int UsedRows(const TRecord& record);
double Dot(const std::vector<double>& a, const std::vector<double>& b);

}  // namespace tuning

#endif
