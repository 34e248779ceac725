#include "tuning/output_error.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace tuning {
namespace {

constexpr double kNone = 1e-6;        // of a period: a dead time or lag as short is none
constexpr double kLeastSigma = 1e-6;  // of a record's deviation

// Less the mean of the used rows; the others 0.
std::vector<double> Centred(const TRecord& record, std::vector<double> values, double* mean = nullptr) {
  double sum = 0;
  for (std::size_t j = 0; j < values.size(); ++j) {
    if (record.used[j]) sum += values[j];
  }
  const double level = sum / UsedRows(record);
  for (std::size_t j = 0; j < values.size(); ++j) values[j] = record.used[j] ? values[j] - level : 0;
  if (mean) *mean = level;
  return values;
}

// The best factors of one or two columns for a target: normal equations scaled to columns of length 1.
struct TFactors {
  double first = 0, second = 0;
};
TFactors Solve(const std::vector<double>& target, const std::vector<double>& a, const std::vector<double>* b) {
  const double aa = Dot(a, a);
  const double at = Dot(a, target);
  if (!(aa > 0)) return {};
  if (!b) return {at / aa, 0};
  const double bb = Dot(*b, *b);
  const double ab = Dot(a, *b);
  const double bt = Dot(*b, target);
  const double determinant = aa * bb - ab * ab;
  if (!(determinant > 1e-12 * aa * bb)) return {at / aa, 0};
  return {(bb * at - ab * bt) / determinant, (aa * bt - ab * at) / determinant};
}

void Subtract(std::vector<double>& from, double factor, const std::vector<double>& what) {
  for (std::size_t j = 0; j < from.size(); ++j) from[j] -= factor * what[j];
}

}  // namespace

int UsedRows(const TRecord& record) {
  return static_cast<int>(std::count_if(record.used.begin(), record.used.end(), [](char used) { return used != 0; }));
}

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0;
  for (std::size_t j = 0; j < a.size(); ++j) sum += a[j] * b[j];
  return sum;
}

std::vector<double TModel::*> TKind::Nonlinear() const {
  std::vector<double TModel::*> free;
  if (!fixedDelay) free.push_back(&TModel::L);
  if (order >= 2) free.push_back(&TModel::tau);
  if (!integrating) free.push_back(&TModel::eps);
  if (HasThird()) free.push_back(&TModel::T3);
  return free;
}

std::vector<double TModel::*> TKind::All() const {
  std::vector<double TModel::*> all = Nonlinear();
  all.insert(all.begin(), &TModel::k);
  if (HasZero()) all.insert(all.begin() + 1, &TModel::kb);
  return all;
}

COutputError::COutputError(const std::vector<TRecord>& records) : data(records) {
  period = std::numeric_limits<double>::infinity();
  for (TRecord& record : data) {
    const double first = record.input.front();
    for (double& input : record.input) input -= first;
    rows += UsedRows(record);
    period = std::min(period, record.period);
    duration = std::max(duration, record.period * static_cast<double>(record.input.size()));
    const std::vector<double> centred = Centred(record, record.output);
    sigmas.push_back(std::sqrt(Dot(centred, centred) / UsedRows(record)));
    least.push_back(kLeastSigma * sigmas.back());
  }
  std::vector<std::vector<double>> values;
  for (const TRecord& record : data) values.push_back(record.output);
  outputs = Weighted(values);
}

std::vector<double> COutputError::Weighted(const std::vector<std::vector<double>>& values) const {
  std::vector<double> all;
  for (std::size_t r = 0; r < data.size(); ++r) {
    for (double value : Centred(data[r], values[r])) all.push_back(value / sigmas[r]);
  }
  return all;
}

void COutputError::Weigh(const TModel& model) {
  const std::vector<double> residuals = Residuals(model);
  std::size_t begin = 0;
  for (std::size_t r = 0; r < data.size(); ++r) {
    double sum = 0;
    for (std::size_t j = 0; j < data[r].output.size(); ++j) sum += residuals[begin + j] * residuals[begin + j];
    begin += data[r].output.size();
    sigmas[r] = std::hypot(sigmas[r] * std::sqrt(sum / UsedRows(data[r])), least[r]);
  }
  std::vector<std::vector<double>> values;
  for (const TRecord& record : data) values.push_back(record.output);
  outputs = Weighted(values);
}

std::vector<std::vector<double>> COutputError::Simulated(const TModel& model) const {
  std::vector<std::vector<double>> simulated;
  TSampledModel sampled;
  for (const TRecord& record : data) {
    if (sampled.period != record.period) sampled = Sample(model, record.period);
    simulated.push_back(Simulate(sampled, record.input));
  }
  return simulated;
}

std::vector<double> COutputError::Residuals(const TModel& model) const {
  std::vector<double> residuals = outputs;
  Subtract(residuals, 1, Weighted(Simulated(model)));
  return residuals;
}

std::vector<double> COutputError::Levels(const TModel& model) const {
  const std::vector<std::vector<double>> simulated = Simulated(model);
  std::vector<double> levels;
  for (std::size_t r = 0; r < data.size(); ++r) {
    std::vector<double> difference = data[r].output;
    Subtract(difference, 1, simulated[r]);
    double level = 0;
    Centred(data[r], std::move(difference), &level);
    levels.push_back(level);
  }
  return levels;
}

// What a clean record leaves by rounding counts as `least`, too.
double COutputError::SumOf(const std::vector<double>& residuals) const {
  double sum = Dot(residuals, residuals);
  for (std::size_t r = 0; r < data.size(); ++r) {
    sum += UsedRows(data[r]) * (least[r] / sigmas[r]) * (least[r] / sigmas[r]);
  }
  return std::isfinite(sum) ? sum : std::numeric_limits<double>::infinity();
}

double COutputError::Sum(const TModel& model) const { return SumOf(Residuals(model)); }

TFit COutputError::Project(TModel model, bool zero) const {
  model.k = 1;
  model.kb = 0;
  const std::vector<double> gain = Weighted(Simulated(model));
  std::vector<double> rate;
  if (zero) {
    model.k = 0;
    model.kb = 1;
    rate = Weighted(Simulated(model));
  }
  const TFactors factors = Solve(outputs, gain, zero ? &rate : nullptr);
  model.k = factors.first;
  model.kb = factors.second;
  std::vector<double> residuals = outputs;
  Subtract(residuals, model.k, gain);
  if (zero) Subtract(residuals, model.kb, rate);
  return {model, SumOf(residuals)};
}

std::vector<std::vector<double>> COutputError::Derivatives(const TModel& model,
                                                           const std::vector<double TModel::*>& by) const {
  const std::vector<double> here = Weighted(Simulated(model));
  std::vector<std::vector<double>> columns;
  for (double TModel::*number : by) {
    TModel near = model;
    double distance = 1e-6 * (model.*number + period);
    if (number == &TModel::eps) distance = 1e-6 * (model.eps + 0.1 / duration);
    if (number == &TModel::k || number == &TModel::kb) {  // linear
      near.k = near.kb = 0;
      near.*number = 1;
      columns.push_back(Weighted(Simulated(near)));
      continue;
    }
    near.*number += distance;
    std::vector<double> column = Weighted(Simulated(near));
    for (std::size_t j = 0; j < column.size(); ++j) column[j] = (column[j] - here[j]) / distance;
    columns.push_back(std::move(column));
  }
  return columns;
}

TNormalEquations COutputError::Normal(const TModel& model, const TKind& kind) const {
  const std::vector<double> residuals = Residuals(model);
  std::vector<std::vector<double>> columns = Derivatives(model, kind.Nonlinear());
  std::vector<double TModel::*> linear{&TModel::k};
  if (kind.HasZero()) linear.push_back(&TModel::kb);
  const std::vector<std::vector<double>> solved = Derivatives(model, linear);
  for (std::vector<double>& column : columns) {
    const TFactors factors = Solve(column, solved[0], kind.HasZero() ? &solved[1] : nullptr);
    Subtract(column, factors.first, solved[0]);
    if (kind.HasZero()) Subtract(column, factors.second, solved[1]);
  }
  TNormalEquations normal;
  for (const std::vector<double>& a : columns) {
    normal.gradient.push_back(-Dot(a, residuals));
    for (const std::vector<double>& b : columns) normal.square.push_back(Dot(a, b));
  }
  return normal;
}

TFit COutputError::Fit(const TModel& start, const TKind& kind) const {
  const std::vector<double TModel::*> free = kind.Nonlinear();
  const auto projected = [&](const std::vector<double>& p) {
    TModel model = start;
    for (std::size_t i = 0; i < free.size(); ++i) model.*free[i] = p[i];
    return Project(model, kind.HasZero());
  };
  std::vector<double> p;
  p.reserve(free.size());
  for (double TModel::*number : free) p.push_back(start.*number);
  if (p.empty()) return projected(p);
  TLeastSquares problem;
  problem.sum = [&](const std::vector<double>& at) { return projected(at).sum; };
  problem.normal = [&](const std::vector<double>& at) { return Normal(projected(at).model, kind); };
  p = LevenbergMarquardt(problem, p);
  // Numbers creep towards a bound that they belong at.
  for (std::size_t i = 0; i < free.size(); ++i) {
    if (free[i] != &TModel::eps && p[i] < kNone * period) p[i] = 0;
  }
  return projected(p);
}

}  // namespace tuning
