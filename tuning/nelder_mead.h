// The least value of a function without derivatives (Nelder and Mead, Computer Journal 7, 1965, 308-313).
#ifndef LOOPBOX_TUNING_NELDER_MEAD_H
#define LOOPBOX_TUNING_NELDER_MEAD_H

#include <functional>
#include <vector>

namespace tuning {

struct TSearch {
  double step = 0.3;        // of each coordinate, to the first simplex
  double tolerance = 1e-4;  // of the values' spread over the simplex
  int evaluations = 300;    // at most, about
};

// The same start gives the same point, bit for bit. The function may be infinite, but not at the start.
std::vector<double> NelderMead(const std::function<double(const std::vector<double>&)>& function,
                               const std::vector<double>& start, const TSearch& search);

}  // namespace tuning

#endif
