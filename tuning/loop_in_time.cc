// What a loop does from one instant to the next.
#include <algorithm>
#include <cmath>
#include <limits>

#include "tuning/loop.h"
#include "tuning/polynomial.h"

namespace tuning {

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

// y of (A D + q^-(d+1) B V) y = x, one instant after another.
class CClosedLoop {
 public:
  CClosedLoop(const TSampledLaw& law, const TSampledModel& model)
      : near(Product(model.denominator, law.denominator)),
        far(Product(model.numerator, law.value)),
        delay(static_cast<std::size_t>(model.delay) + 1) {}

  // y[0 ... k-1] known; y of instants before 0 is 0.
  double Next(const std::vector<double>& y, double x) const {
    const std::size_t k = y.size();
    const std::size_t nearTerms = std::min(near.size() - 1, k);
    for (std::size_t i = 1; i <= nearTerms; ++i) x -= near[i] * y[k - i];
    if (k >= delay) {
      const double* last = y.data() + (k - delay);
      const std::size_t farTerms = std::min(far.size(), k - delay + 1);
      for (std::size_t i = 0; i < farTerms; ++i) x -= far[i] * *(last - i);
    }
    return x;
  }

  std::size_t Memory() const { return std::max(near.size(), delay + far.size()); }

 private:
  std::vector<double> near;
  std::vector<double> far;
  std::size_t delay;
};

constexpr std::size_t kMostPeriods = 20000;
constexpr double kSettled = 1e-3;  // of the greatest error
constexpr double kRunaway = 1e9;

// The sum of |e| as e comes in, until it stays small; what is missing then is known without its sign: the rest
// of the sum of e, which follows from where the integral part must end.
class CErrorSum {
 public:
  explicit CErrorSum(std::size_t periods) : window(periods) {}

  bool Add(double e) {  // true: settled
    sum += e;
    absolute += std::fabs(e);
    greatest = std::max(greatest, std::fabs(e));
    small = std::fabs(e) <= kSettled * greatest ? small + 1 : 0;
    return small >= window && greatest > 0;
  }
  bool RunsAway() const { return !(greatest < kRunaway); }
  double Total(double signedTotal) const { return absolute + std::fabs(signedTotal - sum); }

 private:
  std::size_t window;
  std::size_t small = 0;
  double sum = 0;
  double absolute = 0;
  double greatest = 0;
};

// The sum of i times the coefficient of q^-i.
double Moment(const std::vector<double>& p) {
  double sum = 0;
  for (std::size_t i = 1; i < p.size(); ++i) sum += static_cast<double>(i) * p[i];
  return sum;
}

}  // namespace

TCost Cost(const TSampledLaw& law, const TSampledModel& model, double load) {
  const CClosedLoop loop(law, model);
  const std::vector<double> wishPulse = Product(model.numerator, law.wish);
  const std::vector<double> loadPulse = Product(model.numerator, {1.0, -law.rest});  // D takes the step's sum
  const auto delay = static_cast<std::size_t>(model.delay) + 1;
  std::vector<double> afterWish;
  std::vector<double> afterLoad;
  afterWish.reserve(1024);
  afterLoad.reserve(1024);
  CErrorSum wishSum(loop.Memory());
  CErrorSum loadSum(loop.Memory());
  double push = 0;
  bool settled = false;
  for (std::size_t k = 0; k < kMostPeriods && !settled; ++k) {
    const std::size_t i = k - delay;  // wraps, far beyond both, while the dead time lasts
    if (i < wishPulse.size()) push += wishPulse[i];
    afterWish.push_back(loop.Next(afterWish, push));
    afterLoad.push_back(loop.Next(afterLoad, i < loadPulse.size() ? load * loadPulse[i] : 0.0));
    const bool one = wishSum.Add(1.0 - afterWish.back());
    const bool other = loadSum.Add(-afterLoad.back());
    settled = one && other;
    if (wishSum.RunsAway() || loadSum.RunsAway()) return {kInfinite, kInfinite};
  }
  // From rest to rest D u = W w - V y sums up to (1 - rest) u = V(1) sum e + moment(V) y - moment(W) w, V(1) = W(1).
  const double perOutput = (1.0 - law.rest) / Sum(law.value);  // sum of e for one unit of the output
  const double held = (Moment(law.wish) - Moment(law.value)) / Sum(law.value);
  const double output = Sum(model.denominator) / Sum(model.numerator);  // that holds a value of 1
  return {model.period * wishSum.Total(perOutput * output + held), model.period * loadSum.Total(-perOutput * load)};
}

TResponse Response(const TController& controller, const TSampledModel& model, double wish, double load, int n) {
  const TSampledLaw law = Sample(controller);
  TResponse response;
  response.value.reserve(static_cast<std::size_t>(n));
  response.output.reserve(static_cast<std::size_t>(n));
  // Sum of p[first ...] times the newest `present` elements of v, v's own before 0 being 0.
  const auto terms = [](const std::vector<double>& p, std::size_t first, const std::vector<double>& v,
                        std::size_t present, double offset) {
    double sum = 0;
    for (std::size_t i = first; i < p.size() && i - first < present; ++i) {
      sum += p[i] * (v[present - 1 - (i - first)] + offset);
    }
    return sum;
  };
  double wishSum = 0;
  for (std::size_t k = 0; k < static_cast<std::size_t>(n); ++k) {
    const std::size_t delay = static_cast<std::size_t>(model.delay) + 1;
    const double driven = k >= delay ? terms(model.numerator, 0, response.output, k - delay + 1, load) : 0.0;
    response.value.push_back(driven - terms(model.denominator, 1, response.value, k, 0.0));
    if (k < law.wish.size()) wishSum += law.wish[k] * wish;
    response.output.push_back(wishSum - terms(law.value, 0, response.value, k + 1, 0.0) -
                              terms(law.denominator, 1, response.output, k, 0.0));
  }
  return response;
}

double NoiseGain(const TSampledLaw& law, const TSampledModel& model) {
  constexpr double kNegligible = 1e-8;
  const CClosedLoop loop(law, model);
  const std::vector<double> pulse = Product(law.value, model.denominator);
  std::vector<double> output;
  double sum = 0;
  double recent = kInfinite;  // of the last window
  for (std::size_t k = 0; k < kMostPeriods && recent > kNegligible * sum; ++k) {
    output.push_back(loop.Next(output, k < pulse.size() ? pulse[k] : 0.0));
    sum += output[k] * output[k];
    if (!(sum < kRunaway * kRunaway)) return kInfinite;
    if ((k + 1) % loop.Memory() == 0) {
      recent = 0;
      for (std::size_t i = k + 1 - loop.Memory(); i <= k; ++i) recent += output[i] * output[i];
    }
  }
  return recent <= kNegligible * sum ? std::sqrt(sum) : kInfinite;
}

}  // namespace tuning
