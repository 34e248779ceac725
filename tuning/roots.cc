#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cstddef>
#include <vector>

#include "tuning/loop.h"
#include "tuning/polynomial.h"

namespace tuning {

bool IsStableByRoots(const TController& controller, const TSampledModel& model) {
  const TSampledLaw law = Sample(controller);
  std::vector<double> p = Product(model.denominator, law.denominator);
  const std::vector<double> far = Product(model.numerator, law.value);
  const std::size_t shift = static_cast<std::size_t>(model.delay) + 1;
  p.resize(std::max(p.size(), shift + far.size()));
  for (std::size_t i = 0; i < far.size(); ++i) p[shift + i] += far[i];
  const auto n = static_cast<Eigen::Index>(p.size()) - 1;
  Eigen::MatrixXd companion = Eigen::MatrixXd::Zero(n, n);
  for (Eigen::Index i = 0; i < n; ++i) companion(0, i) = -p[static_cast<std::size_t>(i) + 1] / p[0];
  for (Eigen::Index i = 1; i < n; ++i) companion(i, i - 1) = 1.0;
  return Eigen::EigenSolver<Eigen::MatrixXd>(companion, false).eigenvalues().cwiseAbs().maxCoeff() < 1.0;
}

}  // namespace tuning
