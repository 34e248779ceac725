// The least sum of squares of residuals r(p) over numbers p >= 0: damped Gauss-Newton steps, scaled by the diagonal of
// J'J, which shorten no number to less than a fifth (Marquardt, J. SIAM 11, 1963, 431-441).
#ifndef LOOPBOX_TUNING_LEVENBERG_MARQUARDT_H
#define LOOPBOX_TUNING_LEVENBERG_MARQUARDT_H

#include <functional>
#include <vector>

namespace tuning {

// What the residuals tell at a point, J their derivatives.
struct TNormalEquations {
  std::vector<double> square;    // J'J by rows
  std::vector<double> gradient;  // J'r
};

struct TLeastSquares {
  std::function<double(const std::vector<double>&)> sum;  // r'r; infinite where p has no residuals
  std::function<TNormalEquations(const std::vector<double>&)> normal;
  int steps = 40;
};

// The point reached from `start`.
std::vector<double> LevenbergMarquardt(const TLeastSquares& problem, std::vector<double> start);

}  // namespace tuning

#endif
