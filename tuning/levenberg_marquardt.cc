#include "tuning/levenberg_marquardt.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tuning {
namespace {

constexpr double kLeastGain = 1e-9;     // of the sum, by which a step must lower it to be followed by another
constexpr double kMostDamping = 1e10;   // steps that short reach nothing
constexpr double kLeastLeft = 0.2;      // of a number after a step: one that leaps to its bound may never leave it
constexpr double kLeastScale = 1e-300;  // of a number that no residual depends on

// The damped step; a number at its bound that would leave it stays.
std::vector<double> Step(const TNormalEquations& normal, const std::vector<double>& p, double damping) {
  std::vector<std::size_t> free;
  for (std::size_t i = 0; i < p.size(); ++i) {
    if (p[i] > 0 || normal.gradient[i] < 0) free.push_back(i);
  }
  const auto n = static_cast<Eigen::Index>(free.size());
  Eigen::MatrixXd square(n, n);
  Eigen::VectorXd slope(n);
  for (Eigen::Index i = 0; i < n; ++i) {
    slope(i) = normal.gradient[free[i]];
    for (Eigen::Index j = 0; j < n; ++j) square(i, j) = normal.square[free[i] * p.size() + free[j]];
    square(i, i) = std::max(square(i, i), kLeastScale) * (1 + damping);
  }
  const Eigen::VectorXd step = square.ldlt().solve(slope);
  std::vector<double> next = p;
  for (Eigen::Index i = 0; i < n; ++i) next[free[i]] = std::max(kLeastLeft * p[free[i]], p[free[i]] - step(i));
  return next;
}

}  // namespace

std::vector<double> LevenbergMarquardt(const TLeastSquares& problem, std::vector<double> p) {
  double sum = problem.sum(p);
  double damping = 1e-3;
  for (int step = 0; step < problem.steps; ++step) {
    const TNormalEquations normal = problem.normal(p);
    const double before = sum;
    for (; damping < kMostDamping; damping *= 8) {
      const std::vector<double> next = Step(normal, p, damping);
      const double reached = problem.sum(next);
      if (!(reached < sum)) continue;
      p = next;
      sum = reached;
      damping = std::max(damping / 8, 1e-9);
      break;
    }
    if (!(before - sum > kLeastGain * before)) break;
  }
  return p;
}

}  // namespace tuning
