#include "pid/identification.h"

#include "host/runlib.h"

namespace loopbox {

namespace {

constexpr int kOrder = 5;  // of the regressor; index 0 is the output of the model

// The unit upper-triangular factor above its diagonal: row 0 is theta, the other
// rows stand in ldFactor one after another.
double& Upper(TPidState& s, int row, int column) {
  constexpr int kRowStart[kOrder] = {0, 0, 4, 7, 9};
  return row == 0 ? s.theta[column - 1] : s.ldFactor[kRowStart[row] + column - row - 1];
}

}  // namespace

// The data vector is ψ = (y(k), u(k), y(k-1), u(k-1), y(k-2), u(k-2)), of which
// ψ1 to ψ5 are the regressors of ψ0:
//
//   y(k) = θ0 u(k) + θ1 y(k-1) + θ2 u(k-1) + θ3 y(k-2) + θ4 u(k-2) + e(k).
//
// U is unit upper triangular with θ as its first row, V has the same entries
// negated above its diagonal, and the matrix of the estimator is kept as VᵀD V.
// With f = Vψ, g = D f, ζ the regressors' gᵀf, ê = f(0) the prediction error and
// η = D(0) ê², a step takes in ψ only in its own direction: with the forgetting
// factor φ, ε = φ - (1 - φ)/ζ and
//
//   φ = 2 / (2 + X (1 + 1/ρ)),  X = ν ζ/(1 + ζ) η/(1 + ζ + η) + ln(1 + ζ) - ζ/(1 + ζ),  ν := φ (ν + 1).
//
// The rows below the first are updated from the bottom, and the working gains are
// reduced by each row as it has just been written.
//
// Kulhavý, Restricted exponential forgetting in real-time identification,
// Automatica 23, 1987; Bobál, Böhm, Fessl, Macháček, Digital Self-tuning
// Controllers, 2005, ch. 2; Bierman, Factorization Methods for Discrete
// Sequential Estimation, 1977, ch. 5.
void IdentifyStep(TPidState& s, TIdentState& ident) {
  const double psi[kDataLength] = {s.value[0], s.output[0], s.value[1], s.output[1], s.value[2], s.output[2]};
  double(&d)[kDataLength] = ident.dDiag;

  ident.nu = ident.nu + 1.0;

  double f[kDataLength];
  double g[kDataLength];
  double zetas[kDataLength + 1];
  zetas[kDataLength] = 0.0;
  for (int i = kOrder; i >= 0; --i) {
    f[i] = psi[i];
    for (int j = kOrder; j > i; --j) f[i] = f[i] - Upper(s, i, j) * psi[j];
    g[i] = d[i] * f[i];
    zetas[i] = g[i] * f[i] + zetas[i + 1];
  }
  const double error = f[0];
  const double eta = g[0] * error;
  const double zeta = zetas[1];

  const double information = runlib::RealLn(zeta + 1.0) - zeta / (zeta + 1.0);
  const double x = ((ident.nu * (1.0 / (zetas[0] + 1.0))) * (zeta / (zeta + 1.0))) * eta + information;
  double phi = 2.0 / (((x / ident.rho) + x) + 2.0);
  if (phi < ident.forgetMin) phi = ident.forgetMin;
  s.forgetCoefficient = phi;

  if (zeta > ident.zetaMin) {
    const double epsilon = phi - (1.0 - phi) / zeta;
    double w[kDataLength];
    for (int j = 1; j <= kOrder; ++j) w[j] = g[j];
    double hNext = 1.0;
    for (int i = kOrder; i >= 1; --i) {
      const double h = zetas[i] * epsilon + 1.0;
      d[i] = i == kOrder ? d[i] / h : (d[i] * hNext) / h;
      const double k = f[i] * (epsilon / hNext);
      for (int j = kOrder; j > i; --j) {
        double& u = Upper(s, i, j);
        u = w[j] * k + u;
        w[j] = w[j] - u * g[i];
      }
      hNext = h;
    }
    d[0] = (d[0] * (zeta + 1.0)) / ((zetas[0] * 1.0) + 1.0);
    const double k = error * (1.0 / (zeta + 1.0));
    for (int j = kOrder; j >= 1; --j) s.theta[j - 1] = w[j] * k + s.theta[j - 1];
  } else {
    d[0] = ((1.0 / (zetas[0] + 1.0)) * d[0]) * (zeta + 1.0);
  }
  d[0] = d[0] / phi;
  ident.nu = phi * ident.nu;
  s.ModelFromTheta();
}

// With x(k) = (Δy(k-1), Δu(k-1), Δy(k-2), Δu(k-2)), p = (-a1, b1, -a2, b2) and
// the weight λ, a step along the gain v of the two newest vectors:
//
//   G = x(k) xᵀ(k) + λ² x(k-1) xᵀ(k-1),  v = G x(k),  p := p + v (Δy(k) - pᵀx(k)) / (λ² + vᵀx(k)).
//
// Differences free the model of constant offsets. A projection algorithm with a
// short memory of directions: Goodwin, Sin, Adaptive Filtering, Prediction and
// Control, 1984, ch. 3.
void RefilStep(TPidState& s) {
  constexpr int kSize = 4;
  constexpr double kLeastWeight = 0.001;

  double lambda = s.forgetCoefficient;
  if (lambda > 1.0) {
    lambda = 1.0;
  } else if (lambda <= 0.0) {
    lambda = kLeastWeight;
  }
  const double lambda2 = lambda * lambda;

  const auto dy = [&s](int k) { return s.value[k] - s.value[k + 1]; };
  const auto du = [&s](int k) { return s.output[k] - s.output[k + 1]; };
  const double x[kSize] = {dy(1), du(1), dy(2), du(2)};
  const double z[kSize] = {lambda * dy(2), lambda * du(2), lambda * dy(3), lambda * du(3)};
  double p[kSize] = {-s.a1, s.b1, -s.a2, s.b2};

  double v[kSize];
  for (int r = 0; r < kSize; ++r) {
    v[r] = 0.0;
    for (int c = 0; c < kSize; ++c) v[r] = x[c] * ((x[r] * x[c] + 0.0) + z[r] * z[c]) + v[r];
  }
  double divisor = lambda2;
  for (int r = 0; r < kSize; ++r) divisor = v[r] * x[r] + divisor;
  if (divisor == 0.0) divisor = lambda2;
  double error = s.value[0] - s.value[1];
  for (int r = 0; r < kSize; ++r) error = error - p[r] * x[r];
  for (int r = 0; r < kSize; ++r) p[r] = v[r] * (error / divisor) + p[r];

  s.a1 = -p[0];
  s.b1 = p[1];
  s.a2 = -p[2];
  s.b2 = p[3];
}

}  // namespace loopbox
