#include "tuning/likelihood_set.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "runtime/numbers/elementary_functions.h"
#include "runtime/numbers/random.h"

namespace tuning {
namespace {

constexpr double kBound = 12;      // near the 95th percentile of chi-square for six numbers
constexpr double kLargestLog = 3;  // few or much correlated rows must not let everything pass
constexpr double kLeastInformation = 1e-12;
constexpr int kDraws = 16;
constexpr int kProfile = 4;  // to each side

// J'J scaled to a diagonal of 1, and its scales.
struct TInformation {
  Eigen::MatrixXd square;
  std::vector<double> scales;
};

TInformation Scaled(const std::vector<double>& square, std::size_t count) {
  const auto n = static_cast<Eigen::Index>(count);
  TInformation information;
  for (std::size_t i = 0; i < count; ++i) {
    information.scales.push_back(std::max(std::sqrt(square[i * count + i]), 1e-300));
  }
  information.square.resize(n, n);
  for (Eigen::Index i = 0; i < n; ++i) {
    for (Eigen::Index j = 0; j < n; ++j) {
      information.square(i, j) =
          square[i * n + j] / information.scales[i] / information.scales[j] + (i == j ? kLeastInformation : 0);
    }
  }
  return information;
}

// On the ellipsoid of the covariance: first along its two longest axes, each way, and then anywhere. k and kb follow
// the other numbers, and their common factor is drawn with them.
class CEllipsoid {
 public:
  CEllipsoid(const COutputError& from, const TFit& best, const TKind& shape, double size, std::uint64_t seed)
      : records(from), fit(best), kind(shape), radius(size), random(seed) {
    const TInformation information = Scaled(records.Normal(fit.model, kind).square, kind.Nonlinear().size());
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(information.square);
    const Eigen::Index n = information.square.rows();
    for (Eigen::Index i = 0; i < n; ++i) {
      const double length = 1 / std::sqrt(std::max(solver.eigenvalues()(i), kLeastInformation));
      std::vector<double> axis;
      for (Eigen::Index j = 0; j < n; ++j) {
        axis.push_back(length * solver.eigenvectors()(j, i) / information.scales[j]);
      }
      axes.push_back(std::move(axis));
    }
    std::vector<std::vector<double>> simulated = records.Simulated(fit.model);
    const std::vector<double> weighted = records.Weighted(simulated);
    gain = 1 / std::sqrt(Dot(weighted, weighted));
  }

  std::vector<double> Direction(int draw) {
    std::vector<double> direction(axes.size() + 1, 0.0);  // the factor is the last
    const int along = 2 * static_cast<int>(std::min<std::size_t>(axes.size(), 2));
    if (draw < along) {
      direction[draw / 2] = draw % 2 ? -1 : 1;
      return direction;
    }
    double square = 0;
    for (double& number : direction) {
      number = random.Normal();
      square += number * number;
    }
    for (double& number : direction) number /= std::sqrt(square);
    return direction;
  }

  TModel At(const std::vector<double>& direction, double length) const {
    const std::vector<double TModel::*> by = kind.Nonlinear();
    TModel model = fit.model;
    for (std::size_t i = 0; i < axes.size(); ++i) {
      for (std::size_t j = 0; j < by.size(); ++j) model.*by[j] += length * radius * direction[i] * axes[i][j];
    }
    for (double TModel::*number : by) model.*number = std::max(0.0, model.*number);
    model = records.Project(model, kind.HasZero()).model;
    const double factor = 1 + length * radius * direction.back() * gain;
    model.k *= factor;
    model.kb *= factor;
    return model;
  }

 private:
  const COutputError& records;
  const TFit& fit;
  TKind kind;
  double radius;
  std::vector<std::vector<double>> axes;  // of the numbers but k and kb, the longest first
  double gain = 0;
  runtime::CRandom random;
};

}  // namespace

std::vector<double> Covariance(const COutputError& records, const TModel& model,
                               const std::vector<double TModel::*>& by) {
  const std::vector<std::vector<double>> columns = records.Derivatives(model, by);
  std::vector<double> square;
  for (const std::vector<double>& a : columns) {
    for (const std::vector<double>& b : columns) square.push_back(Dot(a, b));
  }
  const TInformation information = Scaled(square, by.size());
  const Eigen::Index n = information.square.rows();
  const Eigen::MatrixXd inverse = information.square.ldlt().solve(Eigen::MatrixXd::Identity(n, n));
  std::vector<double> covariance;
  for (Eigen::Index i = 0; i < n; ++i) {
    for (Eigen::Index j = 0; j < n; ++j) {
      covariance.push_back(inverse(i, j) / information.scales[i] / information.scales[j]);
    }
  }
  return covariance;
}

double LikelihoodBound(const COutputError& records, double inflation) {
  return elementary::Exp(std::min(kBound * inflation / records.Rows(), kLargestLog));
}

std::vector<TModel> LikelihoodSet(const COutputError& records, const TFit& fit, const TKind& kind, double inflation,
                                  std::uint64_t seed) {
  const double most = fit.sum * LikelihoodBound(records, inflation);
  std::vector<TModel> set{fit.model};

  const double variance = fit.sum / records.Rows();
  CEllipsoid ellipsoid(records, fit, kind, std::sqrt(kBound * inflation * variance), seed);
  for (int draw = 0; draw < kDraws; ++draw) {
    const std::vector<double> direction = ellipsoid.Direction(draw);
    for (double length = 1; length > 1e-3; length *= length > 0.3 ? 0.8 : 0.5) {
      const TModel candidate = ellipsoid.At(direction, length);
      if (records.Sum(candidate) > most) continue;
      set.push_back(candidate);
      break;
    }
  }

  // The step of the dead time doubles while what the fit makes of it is allowed, and halves where it isn't.
  TKind others = kind;
  others.fixedDelay = true;
  const std::vector<double TModel::*> by = kind.All();
  const std::vector<double> covariance = Covariance(records, fit.model, by);
  const std::size_t l = kind.HasZero() ? 2 : 1;
  const double deviation = std::sqrt(covariance[l * by.size() + l] * inflation * variance);
  for (double sign : {-1.0, 1.0}) {
    TModel last = fit.model;
    double distance = std::min(deviation, 0.25 * fit.model.L + records.Period());
    for (int tried = 0, found = 0; tried < 2 * kProfile && found < kProfile; ++tried) {
      TModel start = last;
      start.L = std::max(0.0, last.L + sign * distance);
      if (start.L == last.L) break;
      const TFit refitted = records.Fit(start, others);
      if (refitted.sum <= most) {
        set.push_back(last = refitted.model);
        ++found;
      } else {
        distance /= 2;
      }
    }
  }
  return set;
}

}  // namespace tuning
