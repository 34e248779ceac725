// The design of r0, tI and tD against critical gains and periods found by other
// means.
#include "pid/synthesis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <random>

using namespace loopbox;

namespace {

using TComplex = std::complex<double>;

constexpr double kPi = 3.14159265358979323846;

struct TCritical {
  double gain, period;
};

// What the design took as critical: r0 tD = 0.075 Kc Tk and tI / r0 = Tk / (1.2 Kc).
TCritical CriticalOf(const TPidState& s) {
  const double period = std::sqrt(16.0 * s.tI * s.tD);
  return {s.r0 * s.tD / (0.075 * period), period};
}

TCritical Synthesize(TPidState s) {
  ControllerSynthesis(s);
  const TCritical critical = CriticalOf(s);
  EXPECT_NEAR(s.r0, 0.6 * critical.gain * (1.0 - s.dt / critical.period), 1e-9 * s.r0);
  return critical;
}

// The larger root of z² + (a1 + b1 K) z + a2 + b2 K.
TComplex DominantRoot(const TPidState& s, double gain) {
  const double p = s.a1 + s.b1 * gain;
  const double q = s.a2 + s.b2 * gain;
  const TComplex root = std::sqrt(TComplex(p * p - 4.0 * q, 0.0));
  const TComplex z1 = (-p + root) / 2.0;
  const TComplex z2 = (-p - root) / 2.0;
  return std::abs(z1) > std::abs(z2) ? z1 : z2;
}

// The critical gain by bisection, of a stable model whose loop is stable up to it.
TCritical CriticalByBisection(const TPidState& s) {
  double low = 0.0;
  double high = 1e-3;
  while (std::abs(DominantRoot(s, high)) < 1.0) high *= 2.0;
  for (int i = 0; i < 200; ++i) {
    const double middle = 0.5 * (low + high);
    (std::abs(DominantRoot(s, middle)) < 1.0 ? low : high) = middle;
  }
  return {low, 2.0 * kPi * s.dt / std::fabs(std::arg(DominantRoot(s, high)))};
}

TPidState Model(double dt, double a1, double a2, double b1, double b2) {
  TPidState s;
  s.dt = dt;
  s.a1 = a1;
  s.a2 = a2;
  s.b1 = b1;
  s.b2 = b2;
  s.b2Prev = b2;
  return s;
}

// The model with a double pole exp(-T0 omega) that answers a sine of frequency
// omega, held over the period, as the plant G does: what is left of a plant of
// higher order in the data of a loop that oscillates.
TPidState MatchedAt(double dt, double omega, TComplex (*plant)(TComplex)) {
  const TComplex s(0.0, omega);
  const TComplex answer = plant(s) * (1.0 - std::exp(-s * dt)) / (s * dt);
  const TComplex z = std::exp(s * dt);
  const double pole = std::exp(-dt * omega);
  // b1 z + b2 = G (z - pole)²
  const TComplex numerator = answer * (z - pole) * (z - pole);
  const double b1 = numerator.imag() / z.imag();
  return Model(dt, -2.0 * pole, pole * pole, b1, numerator.real() - b1 * z.real());
}

void ExpectWithin(const TCritical& measured, const TCritical& expected, double ofGain, double ofPeriod) {
  EXPECT_NEAR(measured.gain, expected.gain, ofGain * expected.gain);
  EXPECT_NEAR(measured.period, expected.period, ofPeriod * expected.period);
}

}  // namespace

TEST(Synthesis, WorkedNumbers) {
  TPidState s;
  ControllerSynthesis(s);
  EXPECT_DOUBLE_EQ(CriticalOf(s).gain, 5.999999999999999);
  EXPECT_DOUBLE_EQ(CriticalOf(s).period, 3.4457175756572185);
  const double expected[][2] = {{s.r0, 2.5552248781407}, {s.tI, 1.2228587878286092}, {s.tD, 0.6068244412891035}};
  for (const auto& [measured, value] : expected) {
    EXPECT_NEAR(measured, value, std::nextafter(value, HUGE_VAL) - value);
  }
}

TEST(Synthesis, RealPoleReachesMinusOne) {
  TPidState s = Model(0.25, -0.5, 0.0, 1.0, 0.25);  // K1 = 4, K2 = 2
  ControllerSynthesis(s);
  EXPECT_EQ(s.r0, (0.5 * 2.0) * 0.6);
  EXPECT_DOUBLE_EQ(CriticalOf(s).period, 0.5);
}

// A pair that meets at an end of the circle is left there.
TEST(Synthesis, DoublePoleOnTheCircle) {
  TPidState s = Model(0.25, -2.25, 0.5, 0.125, 0.25);  // at 1
  ControllerSynthesis(s);
  EXPECT_EQ(s.r0, 2.0 * 0.6);
  EXPECT_EQ(s.tI, HUGE_VAL);
  s = Model(0.25, 1.75, 0.5, 0.125, 0.25);  // at -1
  ControllerSynthesis(s);
  EXPECT_EQ(CriticalOf(s).period, 0.5);
}

// A model so large that rounding puts the pair off the circle, at both ends.
TEST(Synthesis, ArcCosineStaysInItsRange) {
  for (const double a1 : {3.0, -3.0}) {
    TPidState s = Model(0.25, a1, -1e17, 0.0, 0.3);
    ControllerSynthesis(s);
    EXPECT_NEAR(CriticalOf(s).period, 0.25 * 2.0 * kPi / std::acos(a1 < 0.0 ? 0.999999 : -0.999999), 1e-9);
  }
}

TEST(Synthesis, BadB2IsReplacedByThePreviousOne) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double cases[][2] = {{0.1, 0.0}, {0.1, -0.3}, {0.15, 0.15}, {0.1, nan}};
  for (const auto& [b1, b2] : cases) {
    TPidState good = Model(1.0, -0.1, -0.2, b1, 0.2);
    TPidState bad = good;
    bad.b2 = b2;
    ControllerSynthesis(good);
    ControllerSynthesis(bad);
    EXPECT_EQ(bad.b2, 0.2);
    EXPECT_EQ(bad.r0, good.r0);
    EXPECT_EQ(bad.tI, good.tI);
    EXPECT_EQ(bad.tD, good.tD);
  }
}

// No divisor is guarded: the caller sees that the design failed.
TEST(Synthesis, SingularModelsEndNotFinite) {
  TPidState cases[] = {
      Model(1.0, -0.5, 1.0, 0.1, 0.2),  // zero critical gain
      Model(1.0, -0.5, 0.5, 0.1, 0.0),  // neither b2 serves
      Model(1.0, -0.5, 0.5, 0.2, 0.2),  // nor here
  };
  cases[2].b2Prev = 0.0;
  for (TPidState& s : cases) {
    ControllerSynthesis(s);
    EXPECT_FALSE(std::isfinite(s.r0) && std::isfinite(s.tI) && std::isfinite(s.tD));
  }
}

// Any stable model of positive steady gain and b2.
TEST(Synthesis, FindsWhereTheLoopLosesStability) {
  std::mt19937 random(4);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  int pairs = 0;
  int reals = 0;
  while (pairs + reals < 2000) {
    const double a2 = unit(random);
    const double a1 = 2.0 * unit(random);
    const double b1 = unit(random);
    const double b2 = std::fabs(unit(random));
    if (std::fabs(a1) > 0.99 * (1.0 + a2) || b1 + b2 < 0.01 || b2 < 0.01 || std::fabs(b1 - b2) < 0.01) continue;
    const TPidState s = Model(0.1, a1, a2, b1, b2);
    const TCritical expected = CriticalByBisection(s);
    (expected.period > 0.2000001 ? pairs : reals) += 1;
    ExpectWithin(Synthesize(s), expected, 1e-9, 1e-5);
  }
  EXPECT_GT(pairs, 200);
  EXPECT_GT(reals, 200);
}

// Through the model that answers as the plant does at the critical frequency; the
// hold's half period is what is left.
TEST(Synthesis, TextbookPlantsAtShortPeriods) {
  const struct {
    const char* name;
    TComplex (*plant)(TComplex);
    TCritical textbook;
  } plants[] = {
      {"1/(s + 1)³", [](TComplex s) { return 1.0 / std::pow(s + 1.0, 3); }, {8.0, 2.0 * kPi / std::sqrt(3.0)}},
      {"1/(s(s + 1)²)", [](TComplex s) { return 1.0 / (s * (s + 1.0) * (s + 1.0)); }, {2.0, 2.0 * kPi}},
      {"1/(s + 1)⁴", [](TComplex s) { return 1.0 / std::pow(s + 1.0, 4); }, {4.0, 2.0 * kPi}},
      {"(1 - s)/((s + 1)(s + 2))",
       [](TComplex s) { return (1.0 - s) / ((s + 1.0) * (s + 2.0)); },
       {3.0, 2.0 * kPi / std::sqrt(5.0)}},
      {"(1 - s/2)/(s(s + 1))",
       [](TComplex s) { return (1.0 - s / 2.0) / (s * (s + 1.0)); },
       {2.0, 2.0 * kPi / std::sqrt(2.0)}},
      {"(1 - s)/(s² + s/2 + 1)",
       [](TComplex s) { return (1.0 - s) / (s * s + s / 2.0 + 1.0); },
       {0.5, 2.0 * kPi / std::sqrt(1.5)}},
      {"exp(-s)/s", [](TComplex s) { return std::exp(-s) / s; }, {kPi / 2.0, 4.0}},
      {"exp(-s)/(s + 1)", [](TComplex s) { return std::exp(-s) / (s + 1.0); }, {2.261826, 3.097060}},
  };
  for (const auto& p : plants) {
    SCOPED_TRACE(p.name);
    const double omega = 2.0 * kPi / p.textbook.period;
    EXPECT_NEAR(std::abs(p.plant(TComplex(0.0, omega)) * p.textbook.gain + 1.0), 0.0, 1e-5);
    const TPidState s = MatchedAt(p.textbook.period / 100.0, omega, p.plant);
    ExpectWithin(Synthesize(s), CriticalByBisection(s), 1e-6, 1e-6);
    ExpectWithin(Synthesize(s), p.textbook, 0.05, 0.05);
  }
}
