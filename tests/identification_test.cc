// Both types of identification, step by step and against known plants.
#include "pid/identification.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iterator>
#include <numeric>
#include <random>
#include <string>

using namespace loopbox;

namespace {

template <std::size_t count>
void ExpectBits(const double (&measured)[count], const double (&expected)[count]) {
  for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(measured[i], expected[i]) << i;
}

void ExpectModel(const TPidState& s, double a1, double a2, double b1, double b2) {
  ExpectBits({s.a1, s.a2, s.b1, s.b2}, {a1, a2, b1, b2});
}

void Shift(TPidState& s) {
  for (double* history : {s.value, s.output}) {
    std::copy_backward(history, history + kHistoryLength - 1, history + kHistoryLength);
    history[0] = 0.0;
  }
}

// One step as the supervisor calls it.
void Identify(int type, TPidState& s, TIdentState& ident) {
  s.ThetaFromModel();
  if (type == 1) {
    IdentifyStep(s, ident);
  } else {
    RefilStep(s);
  }
}

double Predicted(const TPidState& s, double a1, double a2, double b1, double b2) {
  return -a1 * s.value[1] - a2 * s.value[2] + b1 * s.output[1] + b2 * s.output[2];
}

// A binary sequence and nearly normal noise, the same on every machine.
class CRandom {
 public:
  bool Bit() { return Next() >> 31; }
  double Normal() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += (Next() >> 8) / 16777216.0;
    return sum;
  }

 private:
  std::uint32_t Next() { return state = state * 1664525U + 1013904223U; }
  std::uint32_t state = 12345;
};

struct TPlant {
  const char* name;
  double a1, a2, b1, b2;
};

// Unit steady gain; b1 is the step response at T0.
TPlant UnitGain(const char* name, double a1, double a2, double b1) { return {name, a1, a2, b1, 1.0 + a1 + a2 - b1}; }

constexpr double kT0 = 0.5;

TPlant FirstOrder() {  // 1/(2s + 1)
  const double p = std::exp(-kT0 / 2.0);
  return {"first order", -p, 0.0, 1.0 - p, 0.0};
}

TPlant RealPoles() {  // 1/((3s + 1)(s + 1))
  const double p = std::exp(-kT0 / 3.0);
  const double q = std::exp(-kT0);
  return UnitGain("real poles", -(p + q), p * q, 1.0 - (3.0 * p - q) / 2.0);
}

TPlant ComplexPoles() {  // 1/(s² + 0.8s + 1)
  const double decay = std::exp(-0.4 * kT0);
  const double wd = std::sqrt(1.0 - 0.4 * 0.4);
  return UnitGain("complex poles", -2.0 * decay * std::cos(wd * kT0), decay * decay,
                  1.0 - decay * (std::cos(wd * kT0) + 0.4 / wd * std::sin(wd * kT0)));
}

struct TIdentified {
  TPidState s;
  double error = 0.0;   // the largest of the four coefficients
  double missed = 0.0;  // root mean square of the one-step prediction error in the second half
};

// The plant driven by ±10 at random; noise is the deviation of what is added to
// the model's equation.
TIdentified Experiment(int type, const TPlant& plant, double noise, int steps) {
  TIdentified identified;
  TPidState& s = identified.s;
  TIdentState ident;
  CRandom random;
  double sum = 0.0;
  for (int k = 0; k < steps; ++k) {
    s.value[0] = Predicted(s, plant.a1, plant.a2, plant.b1, plant.b2) + noise * random.Normal();
    const double missed = s.value[0] - Predicted(s, s.a1, s.a2, s.b1, s.b2);
    if (2 * k >= steps) sum += missed * missed;
    s.output[0] = 0.0;
    Identify(type, s, ident);
    s.output[0] = random.Bit() ? 10.0 : -10.0;
    Shift(s);
  }
  identified.error = std::max(
      {std::fabs(s.a1 - plant.a1), std::fabs(s.a2 - plant.a2), std::fabs(s.b1 - plant.b1), std::fabs(s.b2 - plant.b2)});
  identified.missed = std::sqrt(sum * 2.0 / steps);
  return identified;
}

TPidState FirstData() {
  TPidState s;
  s.value[0] = 1.0;
  s.value[1] = 0.5;
  s.output[1] = 1.0;
  return s;
}

}  // namespace

TEST(Identification, Type1WorkedNumbers) {
  TPidState s = FirstData();
  TIdentState ident;
  IdentifyStep(s, ident);
  EXPECT_EQ(s.forgetCoefficient, 0.12763945616171102);
  EXPECT_EQ(ident.nu, 0.25527891232342204);
  ExpectBits(s.theta,
             {-0.007731305449936637, 0.3925219012432729, 0.6751518133287767, 0.12334289748980465, 0.12334289748980465});
  ExpectModel(s, -0.3925219012432729, -0.12334289748980465, 0.6751518133287767, 0.12334289748980465);
  ExpectBits(ident.dDiag, {4864.7488139003535, 981.0984745538073, 862.9996365262945, 7.81850249994783, 1000.0, 1000.0});
  ExpectBits(s.ldFactor, {0.048624863697360424, -0.0029109432579260963, 0.11594235931908298, 0.11594235931908298,
                          0.4968725990000209, 0.060312740099997916, 0.060312740099997916, 0.1, 0.1, 0.1});
  EXPECT_EQ(ident.rho, 1.0);
}

TEST(Identification, Type1ForgetsAtMostToItsLeastFactor) {
  TPidState s = FirstData();
  TIdentState ident;
  ident.nu = 1e5;
  IdentifyStep(s, ident);
  EXPECT_EQ(s.forgetCoefficient, 0.001);
}

// With too little information in the data only the factor and the variance move.
TEST(Identification, Type1WithLittleDataLeavesTheModel) {
  TPidState s = FirstData();
  TIdentState ident;
  ident.zetaMin = 1e9;
  IdentifyStep(s, ident);
  EXPECT_EQ(s.forgetCoefficient, 0.12763945616171102);
  EXPECT_NEAR(ident.dDiag[0], 4864.7488139003535, 1e-9);
  const TPidState fresh;
  const TIdentState first;
  ExpectBits(s.theta, fresh.theta);
  ExpectBits(s.ldFactor, fresh.ldFactor);
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(ident.dDiag[i], first.dDiag[i]);
}

TEST(Identification, Type1WithoutDataForgetsNothing) {
  TPidState s;
  TIdentState ident;
  IdentifyStep(s, ident);
  EXPECT_EQ(s.forgetCoefficient, 1.0);
  EXPECT_EQ(ident.nu, 2.0);
  const TPidState fresh;
  ExpectModel(s, -0.1, -0.2, 0.1, 0.2);
  ExpectBits(s.theta, fresh.theta);
  ExpectBits(s.ldFactor, fresh.ldFactor);
  ExpectBits(ident.dDiag, TIdentState().dDiag);
}

TEST(Identification, Type2WorkedNumbers) {
  const struct {
    double forget, a1, b2;
  } cases[] = {
      {0.5, -0.18620689655172415, 0.3724137931034483},
      {0.0, -0.19999993600004098, 0.39999987200008197},
      {-3.0, -0.19999993600004098, 0.39999987200008197},
  };
  for (const auto& c : cases) {
    TPidState s = FirstData();
    s.output[2] = 1.0;
    s.forgetCoefficient = c.forget;
    RefilStep(s);
    ExpectModel(s, c.a1, -0.2, 0.1, c.b2);
    EXPECT_EQ(s.forgetCoefficient, c.forget);
  }
  // With no difference zero.
  TPidState all;
  std::copy_n(std::begin({1.0, 0.5, -0.3, 0.9, 0.2}), 5, all.value);
  std::copy_n(std::begin({0.0, 1.0, -0.4, 0.3, -0.7}), 5, all.output);
  all.forgetCoefficient = 0.7;
  RefilStep(all);
  ExpectModel(all, -0.2388888088905265, -0.03761131751513341, 0.2845805581117919, 0.08056067998674041);
  TPidState above = FirstData();
  above.forgetCoefficient = 7.0;
  TPidState most = FirstData();
  most.forgetCoefficient = 1.0;
  RefilStep(above);
  RefilStep(most);
  ExpectModel(above, most.a1, most.a2, most.b1, most.b2);
}

TEST(Identification, Type2WithoutDataLeavesTheModel) {
  TPidState s;
  RefilStep(s);
  ExpectModel(s, -0.1, -0.2, 0.1, 0.2);
}

// What a step does against full matrices. With V the unit upper triangle of the
// negated factor, the covariance is P = Vᵀ D V, and in the literature's words
// (Bobál, Böhm, Fessl, Macháček, 2005, ch. 2), with ζ = xᵀ P x and η = e²/λ,
//
//   P⁻¹ += ε x xᵀ,  λ := φ (λ + e²/(1 + ζ)),  ν := φ (ν + 1),
//   φ = 1/(1 + (1 + 1/ρ)/2 (ln(1 + ζ) + ((ν + 1) η/(1 + ζ + η) - 1) ζ/(1 + ζ))).
//
// The rows of the factor are reduced in place, each by the one just written, so
// of P⁻¹ only the determinant and the two oldest data follow to the last digit.
TEST(Identification, Type1ForgetsInTheDirectionOfTheData) {
  for (const double rho : {1.0, 0.3}) {
    TPidState s;
    TIdentState ident;
    ident.rho = rho;
    const auto determinant = [&ident] {
      return std::accumulate(ident.dDiag + 1, ident.dDiag + kDataLength, 1.0, std::multiplies<double>());
    };
    std::mt19937 random(5);
    std::uniform_real_distribution<double> any(-1.0, 1.0);
    for (int k = 0; k < 50; ++k) {
      SCOPED_TRACE(k);
      for (int i = 0; i < 3; ++i) {
        s.value[i] = any(random);
        s.output[i] = any(random);
      }
      const bool silent = k % 10 == 9;  // nothing to learn from
      if (silent) s.output[0] = s.output[1] = s.output[2] = s.value[1] = s.value[2] = 0.0;
      const double x[5] = {s.output[0], s.value[1], s.output[1], s.value[2], s.output[2]};

      double v[5][5] = {};
      for (int r = 0, next = 0; r < 5; ++r) {
        v[r][r] = 1.0;
        for (int c = r + 1; c < 5; ++c) v[r][c] = -s.ldFactor[next++];
      }
      double p[5][5] = {};
      for (int r = 0; r < 5; ++r) {
        for (int c = 0; c < 5; ++c) {
          for (int i = 0; i < 5; ++i) p[r][c] += v[i][r] * ident.dDiag[i + 1] * v[i][c];
        }
      }
      double e = s.value[0];
      double zeta = 0.0;
      for (int r = 0; r < 5; ++r) {
        e -= s.theta[r] * x[r];
        for (int c = 0; c < 5; ++c) zeta += x[r] * p[r][c] * x[c];
      }
      const double nu = ident.nu;
      const double lambda = 1.0 / ident.dDiag[0];
      const double eta = e * e / lambda;
      const double bracket = std::log(1.0 + zeta) + ((nu + 1.0) * eta / (1.0 + zeta + eta) - 1.0) * zeta / (1.0 + zeta);
      const double phi = 1.0 / (1.0 + (1.0 + 1.0 / rho) / 2.0 * bracket);
      const double epsilon = silent ? 0.0 : phi - (1.0 - phi) / zeta;
      const double newLambda = phi * (lambda + e * e / (1.0 + zeta));
      const double newDeterminant = determinant() / (1.0 + epsilon * zeta);
      // P⁻¹ of y(k-2) and u(k-2): its own corner, since V is triangular.
      const auto corner = [&](double(&q)[3]) {
        const double u = s.ldFactor[9];
        q[0] = 1.0 / ident.dDiag[4] + u * u / ident.dDiag[5];
        q[1] = u / ident.dDiag[5];
        q[2] = 1.0 / ident.dDiag[5];
      };
      double expected[3];
      corner(expected);
      expected[0] += epsilon * x[3] * x[3];
      expected[1] += epsilon * x[3] * x[4];
      expected[2] += epsilon * x[4] * x[4];

      IdentifyStep(s, ident);

      EXPECT_NEAR(s.forgetCoefficient, phi, 1e-9 * phi);
      EXPECT_NEAR(ident.nu, phi * (nu + 1.0), 1e-9 * nu);
      EXPECT_NEAR(1.0 / ident.dDiag[0], newLambda, 1e-9 * newLambda);
      EXPECT_NEAR(determinant(), newDeterminant, 1e-6 * newDeterminant);
      double measured[3];
      corner(measured);
      for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(measured[i], expected[i], 1e-6 * std::sqrt(expected[0] * expected[2] + 1e-12)) << i;
      }
    }
  }
}

// Without noise both types find a plant of second order. A first-order one fits
// any model with a common factor 1 + c z⁻¹ alike: c stays where the start led it.
// With noise type 1 averages. Type 2, whose memory is two vectors, does not: it
// stays near the plant and predicts worse than the noise of 0.1 allows.
TEST(Identification, KnownPlants) {
  struct TRange {
    double from, to;
  };
  constexpr TRange kExact = {0.0, 1e-9};
  const struct {
    int type;
    TPlant plant;
    double noise;
    int steps;
    TRange error, missed;
  } cases[] = {
      {1, RealPoles(), 0.0, 2000, {0.0, 1e-5}, {0.0, 1e-4}},
      {1, ComplexPoles(), 0.0, 2000, {0.0, 1e-5}, {0.0, 1e-4}},
      {1, FirstOrder(), 0.0, 2000, {0.1, 1.0}, {0.0, 1e-4}},
      {1, RealPoles(), 0.1, 200, {0.02, 0.05}, {0.09, 0.11}},
      {1, ComplexPoles(), 0.1, 200, {0.005, 0.02}, {0.09, 0.11}},
      {1, FirstOrder(), 0.1, 200, {0.1, 0.3}, {0.09, 0.11}},
      {1, RealPoles(), 0.1, 20000, {0.0, 0.005}, {0.095, 0.105}},
      {1, ComplexPoles(), 0.1, 20000, {0.0, 0.005}, {0.095, 0.105}},
      {1, FirstOrder(), 0.1, 20000, {0.0, 0.02}, {0.095, 0.105}},
      {2, RealPoles(), 0.0, 2000, kExact, kExact},
      {2, ComplexPoles(), 0.0, 2000, kExact, kExact},
      {2, FirstOrder(), 0.0, 2000, {0.1, 1.0}, kExact},
      {2, RealPoles(), 0.1, 20000, {0.01, 0.15}, {0.5, 4.0}},
      {2, ComplexPoles(), 0.1, 20000, {0.01, 0.15}, {0.5, 4.0}},
      {2, FirstOrder(), 0.1, 20000, {0.1, 2.0}, {0.4, 4.0}},
  };
  std::printf("type plant         noise  steps  a1 true   found  a2 true   found  b1 true   found  b2 true   found");
  std::printf("  error   missed\n");
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.plant.name) + ", type " + std::to_string(c.type));
    const TIdentified identified = Experiment(c.type, c.plant, c.noise, c.steps);
    const TPidState& s = identified.s;
    std::printf("%4d %-13s %5.1f %6d", c.type, c.plant.name, c.noise, c.steps);
    const double pairs[][2] = {{c.plant.a1, s.a1}, {c.plant.a2, s.a2}, {c.plant.b1, s.b1}, {c.plant.b2, s.b2}};
    for (const auto& [known, found] : pairs) std::printf("  %7.4f %7.4f", known, found);
    std::printf("  %.1e %.1e\n", identified.error, identified.missed);
    EXPECT_GE(identified.error, c.error.from);
    EXPECT_LE(identified.error, c.error.to);
    EXPECT_GE(identified.missed, c.missed.from);
    EXPECT_LE(identified.missed, c.missed.to);
    if (c.plant.b2 == 0.0 && c.noise == 0.0) {
      const double common = s.a1 - c.plant.a1;
      EXPECT_NEAR(s.b1, c.plant.b1, 1e-5);
      EXPECT_NEAR(s.a2, c.plant.a1 * common, 1e-5);
      EXPECT_NEAR(s.b2, c.plant.b1 * common, 1e-5);
    }
  }
}

// A sensor that no longer moves: nothing overflows, and what the factor gains by
// forgetting is bounded, since forgetting ends with the information.
TEST(Identification, ConstantDataForLong) {
  const double levels[] = {0.0, 1.0, 1e6};
  for (const int type : {1, 2}) {
    for (const double y : levels) {
      for (const double u : levels) {
        TPidState s;
        TIdentState ident;
        std::fill(std::begin(s.value), std::end(s.value), y);
        std::fill(std::begin(s.output), std::end(s.output), u);
        s.output[0] = 0.0;
        for (int k = 0; k < 100000; ++k) Identify(type, s, ident);
        EXPECT_TRUE(IsFinite(s, ident)) << type << ' ' << y << ' ' << u;
        for (const double d : ident.dDiag) {
          EXPECT_GT(d, 0.0);
          EXPECT_LT(d, 1e6);
        }
        if (type == 1) {
          EXPECT_NEAR(s.forgetCoefficient, 1.0, 1e-7);
          EXPECT_NEAR(Predicted(s, s.a1, s.a2, s.b1, s.b2), y, 1e-5 * std::max({y, u, 1.0})) << y << ' ' << u;
        } else {
          ExpectModel(s, -0.1, -0.2, 0.1, 0.2);
        }
      }
    }
  }
}

// Squares of the data overflow beyond about 1e150; such a step shows in IsFinite
// and nowhere else.
TEST(Identification, OverflowingStepIsNotFinite) {
  for (const int type : {1, 2}) {
    TPidState s = FirstData();
    TIdentState ident;
    s.value[0] = s.value[1] = 1e300;
    s.output[1] = -1e300;
    Identify(type, s, ident);
    EXPECT_FALSE(IsFinite(s, ident)) << type;
  }
}
