#include "bench/baseline.h"

namespace bench {

namespace {

constexpr std::size_t kLength = 6;

struct TState {
  double wish[kLength] = {};
  double value[kLength] = {};
  double output[kLength] = {};
  double r0 = 1.5;
  double tI = 30.0;
  double tD = 2.0;
  double dt = 0.5;
};

TState states[kStates];

void Shift(double (&history)[kLength]) {
  for (std::size_t i = kLength - 1; i > 0; --i) history[i] = history[i - 1];
}

//   u(k) = u(k-1) + r0 [ (e(k) - e(k-1)) + (T0/tI) e(k) + (tD/T0) (e(k) - 2 e(k-1) + e(k-2)) ]
double Period(TState& s, double wish, double value) {
  s.wish[0] = wish;
  s.value[0] = value;
  const double e0 = s.wish[0] - s.value[0];
  const double e1 = s.wish[1] - s.value[1];
  const double e2 = s.wish[2] - s.value[2];
  double output = s.output[1] + s.r0 * (((e0 - e1) + (s.dt / s.tI) * e0) + (s.tD / s.dt) * ((e0 - 2.0 * e1) + e2));
  if (output > 100.0) output = 100.0;
  if (output < 0.0) output = 0.0;
  s.output[0] = output;
  Shift(s.wish);
  Shift(s.value);
  Shift(s.output);
  return output;
}

}  // namespace

double RunBaseline() {
  double sum = 0.0;
  for (std::size_t i = 0; i < kBaselineItems; ++i) {
    sum += Period(states[i % kStates], 50.0 + Varied(i), 50.0 + Varied(i + 7));
  }
  return sum;
}

}  // namespace bench
