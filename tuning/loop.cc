#include "tuning/loop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "runtime/numbers/elementary_functions.h"
#include "tuning/polynomial.h"

namespace tuning {

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

struct TComplex {
  double re = 0;
  double im = 0;
};

TComplex Times(TComplex a, TComplex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
double Square(TComplex a) { return a.re * a.re + a.im * a.im; }

// q^-1 at an angle of 0 to pi, by half of it; real at both ends.
TComplex OnCircle(double angle) {
  const double half = angle < std::numbers::pi ? elementary::Sin(0.5 * angle) : 1.0;
  return {1.0 - 2.0 * half * half, -2.0 * half * std::sqrt((1.0 - half) * (1.0 + half))};
}

TComplex Power(TComplex base, int exponent) {
  TComplex power = {1.0, 0.0};
  for (; exponent > 0; exponent /= 2) {
    if (exponent % 2 == 1) power = Times(power, base);
    base = Times(base, base);
  }
  return power;
}

TComplex Polynomial(const std::vector<double>& p, TComplex z) {
  TComplex sum;
  for (std::size_t i = p.size(); i-- > 0;) sum = {sum.re * z.re - sum.im * z.im + p[i], sum.re * z.im + sum.im * z.re};
  return sum;
}

// Whether the way from a to b turns by more than an angle below a right one.
bool TurnsBeyond(double cosine, TComplex a, TComplex b) {
  const double along = a.re * b.re + a.im * b.im;
  return along < 0 || along * along < cosine * cosine * Square(a) * Square(b);
}

}  // namespace

std::string_view LawName(ELaw law) {
  constexpr std::array<std::string_view, 4> kNames = {"classical", "classicalDelay", "takahashi", "takahashiDelay"};
  return kNames[static_cast<std::size_t>(law) - 1];
}

TSampledLaw Sample(const TController& c) {
  const double t0 = c.period;
  const double tF = HasLag(c.law) ? c.lag * c.tD : 0.0;
  const double gain = c.r0 / (t0 + tF);
  const double proportional = gain * t0 * (1.0 + tF / c.tI);
  const double integral = gain * t0 * t0 / c.tI;
  const double derivative = gain * (c.tD + tF);
  TSampledLaw law;
  law.rest = tF / (t0 + tF);
  law.denominator = {1.0, -(1.0 + law.rest), law.rest};
  law.value = {proportional + integral + derivative, -(proportional + 2.0 * derivative), derivative};
  law.wish = HasKick(c.law) ? law.value : std::vector<double>{integral};
  return law;
}

std::complex<double> LoopGain(const TController& controller, const TSampledModel& model, double omega) {
  const TSampledLaw law = Sample(controller);
  const TComplex z = OnCircle(omega * model.period);
  const TComplex above =
      Times(Times(Polynomial(model.numerator, z), Polynomial(law.value, z)), Power(z, model.delay + 1));
  const TComplex below = Times(Polynomial(model.denominator, z), Polynomial(law.denominator, z));
  const TComplex product = Times(above, {below.re, -below.im});
  return {product.re / Square(below), product.im / Square(below)};
}

// Numerator and denominator of L at a point, and what is read off them.
struct CFrequencyResponse::TLoopPoint {
  TComplex above;  // q^-(d+1) B V
  TComplex below;  // A D

  TLoopPoint(const TPoint& p, const TSampledLaw& law)
      : above(Times({p.bRe, p.bIm}, Polynomial(law.value, {p.re, p.im}))),
        below(Times({p.aRe, p.aIm}, Polynomial(law.denominator, {p.re, p.im}))) {}

  TComplex Closed() const { return {above.re + below.re, above.im + below.im}; }
  double Distance() const { return Square(Closed()) / Square(below); }  // |1 + L|^2
  double Gain() const { return Square(above) / Square(below); }         // |L|^2
  // The parts of L times |A D|^2.
  double Across() const { return above.im * below.re - above.re * below.im; }
  double Along() const { return above.re * below.re + above.im * below.im; }
};

CFrequencyResponse::TPoint CFrequencyResponse::At(double angle) const {
  const TComplex z = OnCircle(angle);
  const TComplex a = Polynomial(model.denominator, z);
  const TComplex b = Times(Polynomial(model.numerator, z), Power(z, model.delay + 1));
  return {angle, z.re, z.im, a.re, a.im, b.re, b.im};
}

// Lightly damped poles and zeros turn by half a turn within a narrow band: halved until each part is a small one.
void CFrequencyResponse::Refine(const TPoint& from, const TPoint& to, int depth) {
  constexpr double kCosine = 0.92;
  constexpr int kDepth = 16;
  if (depth < kDepth && (TurnsBeyond(kCosine, {from.aRe, from.aIm}, {to.aRe, to.aIm}) ||
                         TurnsBeyond(kCosine, {from.bRe, from.bIm}, {to.bRe, to.bIm}))) {
    const TPoint middle = At(0.5 * (from.angle + to.angle));
    Refine(from, middle, depth + 1);
    Refine(middle, to, depth + 1);
    return;
  }
  points.push_back(to);
}

// Equal shares of an angle at first; from where the dead time turns quicker equal steps of its turn; far beyond
// the band of any loop with such a dead time equal shares again.
CFrequencyResponse::CFrequencyResponse(const TSampledModel& sampled) : model(sampled) {
  constexpr double kLowest = 1e-4;
  constexpr double kShare = 0.2;
  constexpr double kFarShare = 0.02;
  const double step = 0.3 / (model.delay + 2);
  points.push_back(At(0.0));
  double angle = kLowest;
  while (angle < std::numbers::pi) {
    const TPoint from = points.back();
    Refine(from, At(angle), from.angle == 0.0 ? 16 : 0);
    angle += std::max(std::min(kShare * angle, step), kFarShare * angle);
  }
  const TPoint from = points.back();
  Refine(from, At(std::numbers::pi), 0);
}

namespace {

// Least of a function known at three angles, by parabolas through the best ones.
template <typename TFunction>
double LeastBetween(std::array<double, 3> x, std::array<double, 3> f, const TFunction& function) {
  double least = f[1];
  for (int i = 0; i < 8; ++i) {
    const double left = (x[1] - x[0]) * (f[1] - f[2]);
    const double right = (x[1] - x[2]) * (f[1] - f[0]);
    if (left == right) break;
    const double vertex = x[1] - 0.5 * ((x[1] - x[0]) * left - (x[1] - x[2]) * right) / (left - right);
    if (!(vertex > x[0] && vertex < x[2]) || std::fabs(vertex - x[1]) < 1e-5 * (x[2] - x[0])) break;
    const double value = function(vertex);
    const bool after = vertex > x[1];
    if (value < f[1]) {
      const std::size_t end = after ? 0 : 2;
      x[end] = x[1];
      f[end] = f[1];
      x[1] = vertex;
      f[1] = value;
    } else {
      const std::size_t end = after ? 2 : 0;
      x[end] = vertex;
      f[end] = value;
    }
    const bool found = std::fabs(value - least) < 1e-5 * least;
    least = std::min(least, value);
    if (found) break;
  }
  return least;
}

// Where a function changes sign between two angles (Illinois rule).
template <typename TFunction>
double Crossing(double a, double fa, double b, double fb, const TFunction& function) {
  for (int i = 0; i < 60 && std::fabs(b - a) > 1e-12 * b; ++i) {
    const double x = (a * fb - b * fa) / (fb - fa);
    const double f = function(x);
    if (f == 0.0) return x;
    if ((f > 0) == (fb > 0)) {
      fa *= 0.5;
    } else {
      a = b;
      fa = fb;
    }
    b = x;
    fb = f;
  }
  return b;
}

}  // namespace

// Goes along the points in order, and between two where a lightly damped pole of the closed loop turns P too far.
class CFrequencyResponse::CScan {
 public:
  CScan(const CFrequencyResponse& of, const TSampledLaw& under) : response(of), law(under) {}

  double Sensitivity() {
    const std::vector<TPoint>& all = response.points;
    for (const TPoint& point : all) {
      const TLoopPoint loop(point, law);
      const bool end = &point == &all.front() || &point == &all.back();
      if (end && !(loop.Closed().re > 0)) return kInfinite;
      Reach(point.angle, loop, &point == &all.front() ? kDepth : 0);
    }
    return turns == 0 ? 1.0 / std::sqrt(least) : kInfinite;
  }

 private:
  static constexpr int kDepth = 12;

  void Reach(double angle, const TLoopPoint& point, int depth) {
    const TComplex closed = point.Closed();
    constexpr double kCosine = 0.75;
    if (depth < kDepth && TurnsBeyond(kCosine, before, closed)) {
      const double middle = 0.5 * (angles[2] + angle);
      Reach(middle, TLoopPoint(response.At(middle), law), depth + 1);
      Reach(angle, point, depth + 1);
      return;
    }
    if ((before.im >= 0) != (closed.im >= 0)) {
      const double across = before.re * closed.im - closed.re * before.im;  // its sign over that of the way
      if ((across < 0) == (closed.im > before.im)) turns += closed.im > before.im ? 1 : -1;
    }
    before = closed;
    angles = {angles[1], angles[2], angle};
    distances = {distances[1], distances[2], angle > 0 ? point.Distance() : kInfinite};
    least = std::min(least, distances[2]);
    if (std::isfinite(distances[0]) && distances[1] <= distances[0] && distances[1] < distances[2] &&
        distances[1] < 1.5 * least) {
      least = std::min(least, LeastBetween(angles, distances,
                                           [this](double at) { return TLoopPoint(response.At(at), law).Distance(); }));
    }
  }

  const CFrequencyResponse& response;
  const TSampledLaw& law;
  TComplex before;
  int turns = 0;  // crossings of the negative real axis
  double least = kInfinite;
  std::array<double, 3> angles = {};
  std::array<double, 3> distances = {kInfinite, kInfinite, kInfinite};  // |1 + L|^2; at 0 it has no value
};

double CFrequencyResponse::Sensitivity(const TSampledLaw& law) const { return CScan(*this, law).Sensitivity(); }

TMargins CFrequencyResponse::Margins(const TController& controller) const {
  TMargins margins;
  margins.ms = Sensitivity(controller);
  margins.stable = std::isfinite(margins.ms);
  if (!margins.stable) return margins;
  const TSampledLaw law = Sample(controller);
  const auto at = [&](double angle) { return TLoopPoint(At(angle), law); };
  const auto gain = [&](double angle) { return at(angle).Gain() - 1.0; };
  const auto across = [&](double angle) { return at(angle).Across(); };
  const auto takeGain = [&](const TLoopPoint& point) {
    const double factor = 1.0 / std::sqrt(point.Gain());
    if (point.Along() < 0 && factor > 1.0) margins.gain = std::min(margins.gain.value_or(kInfinite), factor);
  };
  for (std::size_t i = 2; i < points.size(); ++i) {
    const double a = points[i - 1].angle;
    const double b = points[i].angle;
    const TLoopPoint from(points[i - 1], law);
    const TLoopPoint to(points[i], law);
    if ((from.Gain() > 1.0) != (to.Gain() > 1.0)) {
      const TLoopPoint point = at(Crossing(a, from.Gain() - 1.0, b, to.Gain() - 1.0, gain));
      double lag = elementary::ArcTan2(point.Across(), point.Along()) + std::numbers::pi;
      margins.phase = std::min(margins.phase.value_or(kInfinite), lag * 180.0 / std::numbers::pi);
    }
    if ((from.Across() > 0) != (to.Across() > 0) && i + 1 < points.size()) {
      takeGain(at(Crossing(a, from.Across(), b, to.Across(), across)));
    }
  }
  takeGain(TLoopPoint(points.back(), law));
  return margins;
}

TMargins Margins(const TController& controller, const TSampledModel& model) {
  return CFrequencyResponse(model).Margins(controller);
}

}  // namespace tuning
