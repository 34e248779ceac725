#include "tuning/evidence.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>

namespace tuning {
namespace {

using TColumn = std::vector<double>;

constexpr int kInstants = 40;    // that a load may step at
constexpr double kChance = 25;   // what is explained, in variances of what is left: more than by chance in 40 trials
constexpr double kFelt = 0.005;  // what is explained, in deviations of the value

// Columns of length 1, each at right angles to the others.
class CBasis {
 public:
  // What is left of a column beside those here; its length is 0 where that is rounding alone.
  TColumn Rest(TColumn column) const {
    const double before = Dot(column, column);
    for (int pass = 0; pass < 2; ++pass) {
      for (const TColumn& one : columns) {
        const double along = Dot(one, column);
        for (std::size_t j = 0; j < column.size(); ++j) column[j] -= along * one[j];
      }
    }
    if (!(Dot(column, column) > 1e-9 * before)) std::fill(column.begin(), column.end(), 0.0);
    return column;
  }
  bool Add(const TColumn& column) {
    TColumn rest = Rest(column);
    const double length = std::sqrt(Dot(rest, rest));
    if (!(length > 0)) return false;
    for (double& element : rest) element /= length;
    columns.push_back(std::move(rest));
    return true;
  }
  const TColumn& Last() const { return columns.back(); }

 private:
  std::vector<TColumn> columns;
};

// The residuals of a fit, and its tangents, which take their part of every disturbance.
class CLinearised {
 public:
  CLinearised(const COutputError& from, const TModel& at, const TKind& kind)
      : records(from), model(at), residuals(from.Residuals(at)) {
    for (const TColumn& column : records.Derivatives(model, kind.All())) tangents.Add(column);
    residuals = tangents.Rest(residuals);
    whole = records.Sum({});
  }

  // A column that is `values` in one record and nothing in the others.
  TColumn Column(std::size_t record, TColumn values) const {
    std::vector<TColumn> all;
    for (const TRecord& other : records.Records()) all.emplace_back(other.output.size(), 0.0);
    all[record] = std::move(values);
    return records.Weighted(all);
  }

  double Explained(const std::vector<TColumn>& columns) const {
    CBasis basis = tangents;
    TColumn left = residuals;
    double explained = 0;
    for (const TColumn& column : columns) {
      if (!basis.Add(column)) continue;
      const double along = Dot(basis.Last(), left);
      explained += along * along;
      for (std::size_t j = 0; j < left.size(); ++j) left[j] -= along * basis.Last()[j];
    }
    if (explained < kFelt * kFelt * whole) return 0;
    const double chance = Inflation(records.Records(), left) * Dot(left, left) / records.Rows();
    return explained > kChance * chance ? explained / Dot(residuals, residuals) : 0;
  }

  const COutputError& records;
  const TModel& model;

 private:
  CBasis tangents;
  TColumn residuals;
  double whole = 0;  // sum of squares of the values about their levels
};

}  // namespace

double LoadStep(const COutputError& records, const TModel& model, const TKind& kind) {
  const CLinearised fit(records, model, kind);
  double most = 0;
  for (std::size_t r = 0; r < records.Records().size(); ++r) {
    const TRecord& record = records.Records()[r];
    const std::size_t rows = record.input.size();
    const TColumn response = Simulate(Sample(model, record.period), TColumn(rows, 1.0));
    for (int instant = 0; instant < kInstants; ++instant) {
      const std::size_t begin = rows * static_cast<std::size_t>(instant + 1) / (kInstants + 2);
      TColumn values(begin, 0.0);
      values.insert(values.end(), response.begin(), response.end() - static_cast<std::ptrdiff_t>(begin));
      most = std::max(most, fit.Explained({fit.Column(r, std::move(values))}));
    }
  }
  return most;
}

double Drift(const COutputError& records, const TModel& model, const TKind& kind) {
  const CLinearised fit(records, model, kind);
  double most = 0;
  for (std::size_t r = 0; r < records.Records().size(); ++r) {
    TColumn ramp(records.Records()[r].input.size());
    std::iota(ramp.begin(), ramp.end(), 0.0);
    most = std::max(most, fit.Explained({fit.Column(r, std::move(ramp))}));
  }
  return most;
}

// Rest at another input before the record, and any state of the poles as it begins.
double NotAtRest(const COutputError& records, const TModel& model, const TKind& kind) {
  const CLinearised fit(records, model, kind);
  double most = 0;
  for (std::size_t r = 0; r < records.Records().size(); ++r) {
    const TRecord& record = records.Records()[r];
    const std::size_t rows = record.input.size();
    TSampledModel sampled = Sample(model, record.period);
    std::vector<TColumn> columns{fit.Column(r, Simulate(sampled, TColumn(rows, 1.0)))};
    TColumn impulse(rows, 0.0);
    impulse[0] = 1;
    sampled.numerator = {1};
    for (int i = 0; i + 1 < static_cast<int>(sampled.denominator.size()); ++i) {
      sampled.delay = i;
      columns.push_back(fit.Column(r, Simulate(sampled, impulse)));
    }
    most = std::max(most, fit.Explained(columns));
  }
  return most;
}

double Inflation(const std::vector<TRecord>& records, const std::vector<double>& residuals) {
  const double square = Dot(residuals, residuals);
  const double significant = 2 / std::sqrt(static_cast<double>(residuals.size()));
  double inflation = 1;
  for (std::size_t lag = 1; lag < residuals.size(); ++lag) {
    double sum = 0;
    std::size_t begin = 0;
    for (const TRecord& record : records) {
      const std::size_t end = begin + record.output.size();
      for (std::size_t j = begin + lag; j < end; ++j) sum += residuals[j] * residuals[j - lag];
      begin = end;
    }
    if (!(sum > significant * square)) break;
    inflation += 2 * sum / square;
  }
  return inflation;
}

}  // namespace tuning
