#include "tuning/design.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/numbers/elementary_functions.h"
#include "tuning/nelder_mead.h"

namespace tuning {

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

const std::vector<double> kAgain = {0.2, -0.1, 0.05};

// A model whose largest sensitivity is bounded.
struct TBound {
  CFrequencyResponse response;
  double ms = 0;
};

std::vector<double> Point(const TController& c, bool derivative) {
  std::vector<double> x = {elementary::Ln(std::fabs(c.r0)), elementary::Ln(c.tI)};
  if (derivative) x.push_back(elementary::Ln(c.tD));
  return x;
}

TController At(const std::vector<double>& x, TController like) {
  like.r0 = std::copysign(elementary::Exp(x[0]), like.r0);
  like.tI = elementary::Exp(x[1]);
  like.tD = x.size() > 2 ? elementary::Exp(x[2]) : 0.0;
  return like;
}

// The logarithm of the cost, raised where a bound is passed by far more than the cost could fall in return.
class CObjective {
 public:
  CObjective(const TSampledModel& sampled, double step, const std::vector<TBound>& all, const TController& start)
      : model(sampled), load(step), bounds(all), like(start) {}

  double operator()(const std::vector<double>& x) const {
    constexpr double kWeight = 10.0;
    constexpr double kFar = 2.0;  // beyond, the cost would say little, and take long
    const TController c = At(x, like);
    double over = 0;
    for (const TBound& bound : bounds) {
      over = std::max(over, elementary::Ln(bound.response.Sensitivity(c) / (kInside * bound.ms)));
      if (over > elementary::Ln(kFar)) return kFarCost + over;
    }
    return elementary::Ln(Cost(c, model, load).Sum()) + kWeight * over;
  }

  bool Holds(const TController& c) const {
    return std::all_of(bounds.begin(), bounds.end(),
                       [&](const TBound& bound) { return bound.response.Sensitivity(c) <= bound.ms; });
  }

 private:
  static constexpr double kInside = 0.999;  // so that the search's end is within the bounds
  static constexpr double kFarCost = 1e3;

  const TSampledModel& model;
  double load;
  const std::vector<TBound>& bounds;
  TController like;
};

// From each of the starts, and again from the best of their ends by these steps: a search may end early on the
// bound's ridge.
std::optional<TController> Search(const TSampledModel& model, double load, const std::vector<TBound>& bounds,
                                  const std::vector<TController>& starts, bool derivative,
                                  const std::vector<double>& again) {
  std::vector<double> best;
  double least = kInfinite;
  const CObjective objective(model, load, bounds, starts.front());
  const auto take = [&](std::vector<double> start, const TSearch& search) {
    for (int i = 0; i < 12 && std::isinf(objective(start)); ++i) start[0] -= elementary::Ln(2.0);
    if (std::isinf(objective(start))) return;
    std::vector<double> end = NelderMead(objective, start, search);
    const double f = objective(end);
    if (f < least) {
      least = f;
      best = std::move(end);
    }
  };
  for (const TController& start : starts) take(Point(start, derivative), {0.3, 1e-3, 120});
  for (const double step : again) {
    if (!best.empty()) take(best, {step, 1e-4, 150});
  }
  if (best.empty()) return std::nullopt;
  const TController found = At(best, starts.front());
  return objective.Holds(found) ? std::optional(found) : std::nullopt;
}

}  // namespace

double DesignLoad(const TModel& model, double period) {
  const TApparent a = Apparent(model);
  const double gain = std::fabs(a.gain);
  const double theta = std::max(a.deadTime, 0.5 * period);
  if (std::isinf(a.lag)) return 1.0 / (4.0 * gain * theta);
  return std::max(1.0 / gain, a.lag / (4.0 * gain * theta));
}

std::vector<TController> Starts(const TModel& model, const TDesignOptions& options) {
  const TApparent a = Apparent(model);
  const double theta = a.deadTime + 0.5 * options.period;
  const bool integrating = std::isinf(a.lag);
  const double rate = integrating ? a.gain : a.gain / std::max(a.lag, 0.3 * theta);
  const double lag = integrating ? kInfinite : a.lag;
  TController c;
  c.law = options.law;
  c.lag = options.lag;
  c.period = options.period;
  std::vector<TController> starts;
  c.r0 = 0.4 / (rate * theta);
  c.tI = std::clamp(lag, 0.4 * theta, 6.0 * theta);
  c.tD = 0.3 * theta;
  starts.push_back(c);
  c.r0 = 0.7 / (rate * theta);
  c.tI = std::clamp(lag, 0.7 * theta, 3.0 * theta);
  c.tD = 0.6 * theta;
  starts.push_back(c);
  c.r0 = 0.25 / (rate * theta);
  c.tI = std::clamp(0.7 * lag, 0.3 * theta, 10.0 * theta);
  c.tD = 0.1 * theta;
  starts.push_back(c);
  return starts;
}

std::optional<TController> Design(const std::vector<TModel>& set, const TDesignOptions& options) {
  constexpr int kRounds = 4;
  std::vector<CFrequencyResponse> responses;
  responses.reserve(set.size());
  for (const TModel& model : set) responses.emplace_back(Sample(model, options.period));
  const TSampledModel nominal = Sample(set[0], options.period);
  const double load = DesignLoad(set[0], options.period);
  std::vector<TBound> bounds = {{responses[0], options.nominalMs}};
  std::vector<TController> starts = Starts(set[0], options);
  for (int round = 0; round <= kRounds; ++round) {
    const std::optional<TController> found = Search(nominal, load, bounds, starts, options.derivative, kAgain);
    if (!found) return std::nullopt;
    std::size_t worst = 0;
    double ms = 0;
    for (std::size_t i = 1; i < set.size(); ++i) {
      const double here = responses[i].Sensitivity(*found);
      if (here > ms) {
        ms = here;
        worst = i;
      }
    }
    if (ms <= options.worstMs) return found;
    bounds.push_back({responses[worst], options.worstMs});
    starts = {*found};
  }
  return std::nullopt;
}

std::optional<TController> Best(const TSampledModel& model, double load, const std::vector<TController>& starts,
                                double bound, bool derivative) {
  return Search(model, load, {{CFrequencyResponse(model), bound}}, starts, derivative,
                starts.size() > 1 ? kAgain : std::vector{0.15});
}

}  // namespace tuning
