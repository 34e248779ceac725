// The five laws: properties in tables across all of them. Their first periods are in
// cycle_test.cc.
#include "pid/laws.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <iterator>
#include <random>

using namespace loopbox;

namespace {

struct TLawCase {
  const char* name;
  double (*law)(TPidState&);
  bool onError;  // proportional and derivative parts act on the error, not on the value alone
  bool lagged;
};

const TLawCase kLaws[] = {
    {"classical", [](TPidState& s) { return ClassicalLaw(s); }, true, false},
    {"takahashi", [](TPidState& s) { return TakahashiLaw(s); }, false, false},
    {"classicalDelay", [](TPidState& s) { return ClassicalDelayLaw(s); }, true, true},
    {"takahashiDelay", [](TPidState& s) { return TakahashiDelayLaw(s); }, false, true},
    {"variable", VariableLaw, false, false},
};
constexpr std::size_t kPidLaws = 4;  // the first ones have r0, tI, tD

double Ulps(double x, double count) { return count * (std::nextafter(std::fabs(x), HUGE_VAL) - std::fabs(x)); }

// Wish, value and output at rest.
TPidState AtRest(double level, double output) {
  TPidState s;
  s.dt = 0.5;
  s.r0 = 2.0;
  s.tI = 4.0;
  s.tD = 1.5;
  s.ksi = 0.8;
  s.omega = 0.6;
  std::fill(std::begin(s.wish), std::end(s.wish), level);
  std::fill(std::begin(s.value), std::end(s.value), level);
  std::fill(std::begin(s.output), std::end(s.output), output);
  return s;
}

// One period as the cycle runs it, with the output limited to 0 to 100.
double Period(TPidState& s, const TLawCase& law, double wish, double value, bool trimming) {
  s.wish[0] = wish;
  s.value[0] = value;
  s.output[0] = 0.0;
  s.output[0] = law.law(s);
  const double limited = std::clamp(s.output[0], 0.0, 100.0);
  for (double* history : {s.wish, s.value, s.output}) {
    std::copy_backward(history, history + kHistoryLength - 1, history + kHistoryLength);
  }
  if (trimming) s.output[1] = limited;
  return limited;
}

// The coefficients of the variable law as its answers to unit inputs show them.
struct TPlacement {
  double k, q0, q1, q2, gamma;
};

TPlacement Placement(const TPidState& model) {
  const auto answer = [&model](double w0, double y0, double y1, double y2, double u2) {
    TPidState s = model;
    for (double* history : {s.wish, s.value, s.output}) std::fill(history, history + kHistoryLength, 0.0);
    s.wish[0] = w0;
    s.value[0] = y0;
    s.value[1] = y1;
    s.value[2] = y2;
    s.output[2] = u2;
    return VariableLaw(s);
  };
  return {answer(1, 0, 0, 0, 0), -answer(0, 1, 0, 0, 0), -answer(0, 0, 1, 0, 0), -answer(0, 0, 0, 1, 0),
          answer(0, 0, 0, 0, 1)};
}

// 1 + d1 z⁻¹ + d2 z⁻² from the continuous poles.
void WantedPolynomial(const TPidState& s, double* d1, double* d2) {
  const std::complex<double> root = std::sqrt(std::complex<double>(s.ksi * s.ksi - 1.0, 0.0));
  const std::complex<double> z1 = std::exp((-s.ksi + root) * s.omega * s.dt);
  const std::complex<double> z2 = std::exp((-s.ksi - root) * s.omega * s.dt);
  *d1 = -(z1 + z2).real();
  *d2 = (z1 * z2).real();
}

}  // namespace

TEST(Laws, VariableLawCoefficients) {
  TPidState s;
  s.ksi = s.omega = 1.0;
  const TPlacement p = Placement(s);
  const double expected[][2] = {{p.q0, 2.3319213363124267},
                                {p.q1, -0.8689510159741274},
                                {p.q2, -0.13104898402587262},
                                {p.gamma, 0.13104898402587262}};
  for (const auto& [measured, value] : expected) EXPECT_NEAR(measured, value, Ulps(value, 1.0));
  double d1 = 0.0;
  double d2 = 0.0;
  WantedPolynomial(s, &d1, &d2);
  EXPECT_NEAR(d1, -0.7357588823428847, Ulps(d1, 1.0));
  EXPECT_NEAR(d2, 0.1353352832366127, Ulps(d2, 1.0));
}

TEST(Laws, VariableLawReplacesZeroCoefficientsInTheState) {
  for (double TPidState::*coefficient : {&TPidState::a2, &TPidState::b1, &TPidState::b2}) {
    TPidState s = AtRest(5.0, 40.0);
    const TPidState before = s;
    s.*coefficient = 0.0;
    EXPECT_TRUE(std::isfinite(VariableLaw(s)));
    for (double TPidState::*c : {&TPidState::a1, &TPidState::a2, &TPidState::b1, &TPidState::b2}) {
      EXPECT_EQ(s.*c, c == coefficient ? 1.0 : before.*c);
    }
  }
  TPidState s = AtRest(5.0, 40.0);  // a divisor R of 0 too
  s.a2 = s.b2 = 0.0;
  EXPECT_TRUE(std::isfinite(VariableLaw(s)));
  EXPECT_EQ(s.a2, 1.0);
  EXPECT_EQ(s.b2, 1.0);
}

TEST(Laws, ReturnFromManualHasNoBump) {
  for (const TLawCase& c : kLaws) {
    for (const double output : {0.0, 40.0, -7.0, 1e6}) {
      TPidState s = AtRest(5.0, output);
      EXPECT_NEAR(c.law(s), output, 1e-12 * std::max(1.0, std::fabs(output))) << c.name;
    }
  }
}

TEST(Laws, AnswerHasTheSignOfTheError) {
  for (const TLawCase& c : kLaws) {
    TPidState raised = AtRest(5.0, 40.0);
    raised.wish[0] += 1.0;
    EXPECT_GT(c.law(raised), 40.0) << c.name;
    TPidState above = AtRest(5.0, 40.0);
    above.value[0] += 1.0;
    EXPECT_LT(c.law(above), 40.0) << c.name;
  }
}

// Without the integral part a law whose other parts act on the value does not
// notice the wish value; the others kick by at least r0 times its step.
TEST(Laws, WishStepKicksOnlyWhereItBelongs) {
  for (std::size_t i = 0; i < kPidLaws; ++i) {
    SCOPED_TRACE(kLaws[i].name);
    TPidState s = AtRest(5.0, 40.0);
    s.tI = 1e300;
    s.wish[0] += 10.0;
    const double kick = kLaws[i].law(s) - 40.0;
    if (kLaws[i].onError) {
      EXPECT_GE(kick, s.r0 * 10.0);
    } else {
      EXPECT_EQ(kick, 0.0);
    }
    // And the law that acts on the value takes a disturbance as the other does.
    TPidState disturbed = AtRest(5.0, 40.0);
    disturbed.value[0] -= 3.0;
    TPidState same = disturbed;
    EXPECT_DOUBLE_EQ(kLaws[i].law(disturbed), kLaws[i ^ 1U].law(same));
  }
  TPidState s = AtRest(5.0, 40.0);
  double d1 = 0.0;
  double d2 = 0.0;
  WantedPolynomial(s, &d1, &d2);
  s.wish[0] += 10.0;
  EXPECT_NEAR(VariableLaw(s) - 40.0, 10.0 * (1.0 + d1 + d2) / (s.b1 + s.b2), 1e-12);
}

TEST(Laws, ConstantErrorGivesARamp) {
  for (const TLawCase& c : kLaws) {
    for (const double error : {3.0, -0.25}) {
      TPidState s = AtRest(5.0, 40.0);
      double slope = s.r0 * (s.dt / s.tI) * error;
      if (c.law == VariableLaw) slope = Placement(s).k * error / (1.0 + Placement(s).gamma);
      double previous = 0.0;
      for (int k = 0; k < 200; ++k) {
        previous = s.output[1];
        Period(s, c, 5.0 + error, 5.0, false);
        if (k >= 2 && !c.lagged && c.law != VariableLaw) {
          EXPECT_NEAR(s.output[1] - previous, slope, 1e-11) << c.name << k;
        }
      }
      EXPECT_NEAR(s.output[1] - previous, slope, 1e-10) << c.name;
    }
  }
}

// Trimmed, the output leaves its limit in the period in which the error turns;
// untrimmed, what the integral part gathered has to be paid back first.
TEST(Laws, TrimmingLeavesSaturationAtOnce) {
  for (const TLawCase& c : kLaws) {
    for (const bool upper : {true, false}) {
      for (const bool trimming : {true, false}) {
        SCOPED_TRACE(c.name);
        const double sign = upper ? 1.0 : -1.0;
        TPidState s = AtRest(0.0, 50.0);
        double output = 0.0;
        for (int k = 0; k < 500; ++k) output = Period(s, c, 10.0 * sign, 0.0, trimming);
        ASSERT_EQ(output, upper ? 100.0 : 0.0);
        output = Period(s, c, -2.0 * sign, 0.0, trimming);
        EXPECT_EQ(output != (upper ? 100.0 : 0.0), trimming);
      }
    }
  }
}

TEST(Laws, NoDerivationDelayIsNoLag) {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> any(-10.0, 10.0);
  std::uniform_real_distribution<double> positive(0.1, 10.0);
  for (int k = 0; k < 10000; ++k) {
    TPidState s;
    s.derivationDelay = 0.0;
    for (double* history : {s.wish, s.value, s.output}) {
      std::generate(history, history + kHistoryLength, [&] { return any(random); });
    }
    for (double* parameter : {&s.dt, &s.r0, &s.tI, &s.tD}) *parameter = positive(random);
    // What cancels in the sum limits the accuracy, not the sum.
    const double scale = std::fabs(s.output[1]) + s.r0 * 80.0 * (1.0 + s.dt / s.tI + s.tD / s.dt);
    for (std::size_t i = 0; i < 2; ++i) EXPECT_NEAR(kLaws[i + 2].law(s), kLaws[i].law(s), Ulps(scale, 4.0));
  }
}

// (1 + a1 z⁻¹ + a2 z⁻²)(1 - z⁻¹)(1 + γ z⁻¹) + (b1 z⁻¹ + b2 z⁻²)(q0 + q1 z⁻¹ + q2 z⁻²)
// is the wanted polynomial, for any model and on both sides of ksi = 1.
TEST(Laws, VariableLawPlacesThePoles) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> any(-1.5, 1.5);
  std::uniform_real_distribution<double> positive(0.1, 2.5);
  int placed = 0;
  for (int i = 0; i < 2000; ++i) {
    TPidState s;
    for (double* coefficient : {&s.a1, &s.a2, &s.b1, &s.b2}) *coefficient = any(random);
    for (double* parameter : {&s.ksi, &s.omega, &s.dt}) *parameter = positive(random);
    if (i % 10 == 0) s.ksi = 1.0;
    const TPlacement p = Placement(s);
    double size = 1.0;
    for (const double c : {p.q0, p.q1, p.q2, p.gamma}) size = std::max(size, std::fabs(c));
    if (size > 1e4) continue;  // the plant's zero nearly cancels a pole
    ++placed;
    double d1 = 0.0;
    double d2 = 0.0;
    WantedPolynomial(s, &d1, &d2);
    const double model[] = {1.0, s.a1, s.a2};
    const double denominator[] = {1.0, p.gamma - 1.0, -p.gamma};
    const double b[] = {0.0, s.b1, s.b2};
    const double q[] = {p.q0, p.q1, p.q2};
    double loop[5] = {-1.0, -d1, -d2};
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c) loop[r + c] += model[r] * denominator[c] + b[r] * q[c];
    }
    for (const double difference : loop) EXPECT_NEAR(difference, 0.0, 1e-12 * size * size) << i;
    EXPECT_NEAR(p.k, p.q0 + p.q1 + p.q2, 1e-12 * size);
  }
  EXPECT_GT(placed, 1900);
}
