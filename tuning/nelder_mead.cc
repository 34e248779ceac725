#include "tuning/nelder_mead.h"

#include <algorithm>
#include <cstddef>

namespace tuning {

namespace {

struct TVertex {
  std::vector<double> x;
  double f = 0;
};

}  // namespace

std::vector<double> NelderMead(const std::function<double(const std::vector<double>&)>& function,
                               const std::vector<double>& start, const TSearch& search) {
  const std::size_t n = start.size();
  int left = search.evaluations;
  const auto vertex = [&](std::vector<double> x) {
    --left;
    const double f = function(x);
    return TVertex{std::move(x), f};
  };
  const auto better = [](const TVertex& a, const TVertex& b) { return a.f < b.f; };

  std::vector<TVertex> simplex = {vertex(start)};
  for (std::size_t i = 0; i < n; ++i) {
    std::vector<double> x = start;
    x[i] += search.step;
    simplex.push_back(vertex(std::move(x)));
  }
  std::vector<double> centre(n);
  for (;;) {
    std::stable_sort(simplex.begin(), simplex.end(), better);
    if (left <= 0 || simplex[n].f - simplex[0].f < search.tolerance) return simplex[0].x;
    TVertex& worst = simplex[n];
    for (std::size_t i = 0; i < n; ++i) {
      centre[i] = 0;
      for (std::size_t j = 0; j < n; ++j) centre[i] += simplex[j].x[i] / static_cast<double>(n);
    }
    const auto along = [&](double share) {
      std::vector<double> x(n);
      for (std::size_t i = 0; i < n; ++i) x[i] = centre[i] + share * (worst.x[i] - centre[i]);
      return vertex(std::move(x));
    };
    TVertex reflected = along(-1.0);
    if (reflected.f < simplex[0].f) {
      TVertex expanded = along(-2.0);
      worst = expanded.f < reflected.f ? std::move(expanded) : std::move(reflected);
    } else if (reflected.f < simplex[n - 1].f) {
      worst = std::move(reflected);
    } else {
      TVertex contracted = along(reflected.f < worst.f ? -0.5 : 0.5);
      if (contracted.f < std::min(reflected.f, worst.f)) {
        worst = std::move(contracted);
      } else {
        for (std::size_t j = 1; j <= n; ++j) {
          std::vector<double> x(n);
          for (std::size_t i = 0; i < n; ++i) x[i] = 0.5 * (simplex[0].x[i] + simplex[j].x[i]);
          simplex[j] = vertex(std::move(x));
        }
      }
    }
  }
}

}  // namespace tuning
