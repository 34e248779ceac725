#include "tuning/estimator.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "runtime/numbers/elementary_functions.h"
#include "tuning/evidence.h"
#include "tuning/likelihood_set.h"
#include "tuning/output_error.h"

namespace tuning {
namespace {

constexpr int kLeastRows = 20;     // that are fitted, of all records
constexpr double kLargest = 1e60;  // of an input or value, so that sums of squares stay finite
constexpr int kStarts = 3;         // of the grid, for a relay's record can hide a whole cycle in the dead time
constexpr int kFits = 6;           // of one order
constexpr double kBetter = 2;      // by which a larger order must better the criterion
constexpr double kWrongSign = 4;   // a gain of the wrong sign must lower the squares by this factor to be believed

bool IsSane(double x) { return std::abs(x) < kLargest; }  // no NaN either

void Check(const std::vector<TRecord>& records) {
  int rows = 0;
  bool inputMoves = false;
  for (const TRecord& record : records) {
    if (record.output.size() != record.input.size() || record.used.size() != record.input.size()) {
      throw std::invalid_argument("A record's columns differ in length.");
    }
    if (!(record.period >= 1e-6 && record.period <= 1e9)) {
      throw std::invalid_argument("A record's rows must be 1e-6 s to 1e9 s apart.");
    }
    bool moves = false;
    const double* first = nullptr;
    for (std::size_t j = 0; j < record.input.size(); ++j) {
      if (!IsSane(record.input[j]) || (record.used[j] && !IsSane(record.output[j]))) {
        throw std::invalid_argument("A record holds what is no number, or a huge one.");
      }
      inputMoves = inputMoves || record.input[j] != record.input.front();
      if (!record.used[j]) continue;
      if (!first) first = &record.output[j];
      moves = moves || record.output[j] != *first;
    }
    if (!moves) {
      throw std::invalid_argument(
          "The value never changes in a record: see whether it is the right one, or record an experiment of a greater "
          "amplitude.");
    }
    rows += UsedRows(record);
  }
  if (rows < kLeastRows) throw std::invalid_argument("The records hold too few rows: record for longer.");
  if (!inputMoves) {
    throw std::invalid_argument(
        "The output keeps one level throughout: nothing can be learnt from that. Record an experiment.");
  }
}

struct TChoice {
  TFit fit;
  TKind kind;
};

// Akaike's. Schwarz', which asks for more the more rows there are, leaves out lags that a design misses.
double Criterion(const COutputError& records, const TChoice& choice) {
  return records.Rows() * elementary::Ln(choice.fit.sum) + 2 * static_cast<double>(choice.kind.All().size());
}

bool Better(const TFit& a, const TFit& b) { return a.sum < b.sum; }

// With a sum as it counts where the loop's direction asks for a sign.
TFit Believed(TFit fit, std::optional<bool> positive) {
  if (positive && (fit.model.k > 0) != *positive) fit.sum *= kWrongSign;
  return fit;
}

// The first-order models of a grid of L and T: of those that are better than their neighbours in L, the best ones.
std::vector<TModel> GridMinima(const COutputError& records, const TEstimateOptions& options) {
  std::vector<double> rates{0};  // 1/T
  if (!options.integrating) {
    rates.clear();
    for (double T = records.Period() / 3; T < 4 * records.Duration(); T *= 1.7) rates.push_back(1 / T);
  }
  std::vector<TFit> along;  // of L, for the best T
  for (double L = 0; L < records.Duration() / 2; L = std::max(L + records.Period() / 2, L * 1.1)) {
    TFit best{.model = {}, .sum = std::numeric_limits<double>::infinity()};
    for (double eps : rates) {
      best = std::min(best, Believed(records.Project({.L = L, .eps = eps}, false), options.positive), Better);
    }
    along.push_back(best);
  }
  std::vector<TFit> minima;
  for (std::size_t i = 0; i < along.size(); ++i) {
    if ((i == 0 || !Better(along[i - 1], along[i])) && (i + 1 == along.size() || Better(along[i], along[i + 1]))) {
      minima.push_back(along[i]);
    }
  }
  std::stable_sort(minima.begin(), minima.end(), Better);
  std::vector<TModel> starts;
  for (std::size_t i = 0; i < std::min<std::size_t>(minima.size(), kStarts); ++i) starts.push_back(minima[i].model);
  return starts;
}

// The dead time gives some of itself to a second lag; the first may be as short, too.
std::vector<TModel> WithSecondLag(const TModel& first, double period) {
  std::vector<TModel> starts;
  for (double share : {0.2, 0.7}) {
    TModel start = first;
    start.L = (1 - share) * first.L;
    start.tau = share * first.L + 0.1 * period;
    starts.push_back(start);
    if (first.eps == 0) continue;
    for (double quick : {0.15, 0.6}) {
      start.eps = quick / (first.L + period);
      starts.push_back(start);
    }
  }
  return starts;
}

std::vector<TModel> WithThirdLag(const TModel& smaller, double period) {
  std::vector<TModel> starts;
  for (double share : {0.3, 0.8}) {
    TModel start = smaller;
    start.L = (1 - share) * smaller.L;
    start.T3 = share * smaller.L + 0.1 * period;
    starts.push_back(start);
  }
  return starts;
}

// From the most promising of the starts, the best first.
std::vector<TFit> Fits(const COutputError& records, const std::vector<TModel>& starts, const TKind& kind,
                       std::optional<bool> positive) {
  std::vector<TFit> fits;
  fits.reserve(starts.size());
  for (const TModel& start : starts) fits.push_back(records.Project(start, kind.HasZero()));
  std::stable_sort(fits.begin(), fits.end(), Better);
  fits.resize(std::min<std::size_t>(fits.size(), kFits));
  for (TFit& fit : fits) fit = records.Fit(fit.model, kind);
  std::stable_sort(fits.begin(), fits.end(),
                   [&](const TFit& a, const TFit& b) { return Believed(a, positive).sum < Believed(b, positive).sum; });
  return fits;
}

// The best fit of each order.
std::vector<TChoice> Ladder(const COutputError& records, const TEstimateOptions& options) {
  std::vector<TChoice> ladder;
  const auto climb = [&](TKind kind, const std::vector<TModel>& starts) {
    kind.integrating = options.integrating;
    std::vector<TFit> fits = Fits(records, starts, kind, options.positive);
    ladder.push_back({fits.front(), kind});
    return fits;
  };
  const double period = records.Period();
  std::vector<TModel> starts;
  // Each of the grid's minima may yet become the best.
  for (const TFit& first : climb({.order = 1}, GridMinima(records, options))) {
    for (const TModel& start : WithSecondLag(first.model, period)) starts.push_back(start);
  }
  const TModel second = climb({.order = 2}, starts).front().model;
  TModel sooner = second;
  sooner.L /= 2;
  const TModel zero = climb({.order = 3}, {second, sooner}).front().model;
  const TModel lag = climb({.order = 3, .lagFirst = true}, WithThirdLag(second, period)).front().model;
  starts = WithThirdLag(zero, period);
  starts.push_back(lag);
  climb({.order = 4}, starts);
  return ladder;
}

// By order; the larger must be better by more than kBetter.
TChoice Choose(const COutputError& records, const std::vector<TChoice>& ladder) {
  TChoice chosen = ladder.front();
  for (const TChoice& larger : ladder) {
    if (Criterion(records, larger) < Criterion(records, chosen) - kBetter) chosen = larger;
  }
  return chosen;
}

}  // namespace

TEstimate Estimate(const std::vector<TRecord>& records, const TEstimateOptions& options) {
  Check(records);
  COutputError fitted(records);

  // Weighted by what a second-order model leaves of each record.
  std::vector<TChoice> ladder = Ladder(fitted, options);
  fitted.Weigh(ladder[1].fit.model);
  if (records.size() > 1) {
    ladder = Ladder(fitted, options);
    fitted.Weigh(ladder[1].fit.model);
  }
  for (TChoice& choice : ladder) choice.fit = fitted.Fit(choice.fit.model, choice.kind);
  TChoice chosen = Choose(fitted, ladder);
  TChoice integrating = chosen;
  integrating.kind.integrating = true;
  integrating.fit.model.eps = 0;
  integrating.fit = fitted.Fit(integrating.fit.model, integrating.kind);
  if (Criterion(fitted, integrating) < Criterion(fitted, chosen)) chosen = integrating;
  fitted.Weigh(chosen.fit.model);
  chosen.fit = fitted.Fit(chosen.fit.model, chosen.kind);

  TEstimate estimate;
  estimate.model = chosen.fit.model;
  estimate.order = chosen.kind.order;
  estimate.sigmas = fitted.Sigmas();
  double squares = 0;
  for (std::size_t r = 0; r < records.size(); ++r)
    squares += UsedRows(records[r]) * estimate.sigmas[r] * estimate.sigmas[r];
  estimate.sigma = std::sqrt(squares / fitted.Rows());
  estimate.inflation = Inflation(records, fitted.Residuals(estimate.model));

  const std::vector<double TModel::*> numbers = chosen.kind.All();
  const std::vector<double> covariance = Covariance(fitted, estimate.model, numbers);
  const double variance = chosen.fit.sum / fitted.Rows() * estimate.inflation;
  const auto deviation = [&](double TModel::*number) {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      if (numbers[i] == number) return std::sqrt(covariance[i * numbers.size() + i] * variance);
    }
    return 0.0;
  };
  estimate.deviations = {.k = deviation(&TModel::k),
                         .kb = deviation(&TModel::kb),
                         .L = deviation(&TModel::L),
                         .tau = deviation(&TModel::tau),
                         .eps = deviation(&TModel::eps),
                         .T3 = deviation(&TModel::T3)};
  // Of the gain as a whole, for k alone may be free along with eps where their ratio isn't.
  const double without = fitted.Sum({});
  estimate.gainTValue = std::sqrt(std::max(0.0, without - chosen.fit.sum) / variance);

  estimate.levels = fitted.Levels(estimate.model);
  estimate.fitted = fitted.Simulated(estimate.model);
  for (std::size_t r = 0; r < records.size(); ++r) {
    for (double& value : estimate.fitted[r]) value += estimate.levels[r];
  }
  estimate.loadStep = LoadStep(fitted, estimate.model, chosen.kind);
  estimate.drift = Drift(fitted, estimate.model, chosen.kind);
  estimate.notAtRest = NotAtRest(fitted, estimate.model, chosen.kind);
  estimate.set = LikelihoodSet(fitted, chosen.fit, chosen.kind, estimate.inflation, options.seed);
  return estimate;
}

}  // namespace tuning
