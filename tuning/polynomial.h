// Polynomials in q^-1 by their coefficients, the constant one first.
#ifndef LOOPBOX_TUNING_POLYNOMIAL_H
#define LOOPBOX_TUNING_POLYNOMIAL_H

#include <cstddef>
#include <numeric>
#include <vector>

namespace tuning {

// Neither may be empty.
inline std::vector<double> Product(const std::vector<double>& a, const std::vector<double>& b) {
  std::vector<double> product(a.size() + b.size() - 1);
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t j = 0; j < b.size(); ++j) product[i + j] += a[i] * b[j];
  }
  return product;
}

// Its value at rest, q = 1.
inline double Sum(const std::vector<double>& p) { return std::accumulate(p.begin(), p.end(), 0.0); }

}  // namespace tuning

#endif
