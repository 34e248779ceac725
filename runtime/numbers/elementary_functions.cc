// Exponential, logarithms, hyperbolic cosine and power.
#include "runtime/numbers/elementary_functions.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "runtime/numbers/double_double.h"
#include "runtime/numbers/elementary_constants.h"

namespace elementary {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using TTriple = std::array<double, 3>;

// The sum of the terms times 2^exponent.
struct TScaled {
  std::array<double, 6> terms;
  int exponent;
};

double Round(const TScaled& x) { return RoundScaled(x.terms, x.exponent); }

// A number times 2^exponent.
struct TQuick {
  TDoubleDouble number;
  int exponent;
};

// |exponent| < 1023
double PowerOfTwo(int exponent) { return std::bit_cast<double>(static_cast<std::uint64_t>(1023 + exponent) << 52); }

// e^x, |x| < 2^10, relative error below 2^-60.9, the short way of ScaledExp. The
// products of k with the terms of ln 2 are exact, r is off by less than 2^-85;
// the terms from r^4/4! on are doubles, which makes less than
// 2.5 * 2^-53 r^4/4! / 0.7 < 2^-61.2, and r^16/16! and what follows is below 2^-67.
TQuick QuickExp(TDoubleDouble x) {
  const double k = std::floor(x.high * 0x1.71547652b82fep+0 + 0.5);
  const TDoubleDouble first = TwoSum(x.high, -k * kLn2Terms[1]);
  const TDoubleDouble second = TwoSum(first.high, -k * kLn2Terms[2]);
  const TDoubleDouble r = TwoSum(second.high, first.low + second.low + (x.low - k * kLn2Terms[3]));
  const TDoubleDouble tail = Multiply(Multiply(r, r), ShortSeries(kInverseFactorials, 2, 1, 4, 15, r));
  return {Add(Add({1, 0}, r), tail), static_cast<int>(k)};
}

// The same rounded, when that is sure and the result is far from the ends of the
// range.
std::optional<double> Round(TQuick x, double bound) {
  if (std::abs(x.exponent) > 1000) return std::nullopt;
  const auto rounded = RoundNear(x.number, bound);
  if (!rounded) return std::nullopt;
  return *rounded * PowerOfTwo(x.exponent);
}

// e^x, |x| < 2^11, from x = k ln 2 + r, |r| < 0.35, and
// e^r = 1 + r + (r^2/2! + … + r^24/24!); what is left out is below 2^-121.
// Relative error below 2^-102, and below 2^-102 x^2 when |x| is small.
TScaled ScaledExp(const TTriple& x) {
  const double k = std::floor(x[0] * 0x1.71547652b82fep+0 + 0.5);
  std::array<double, 8> rest = {
      x[0], -k * kLn2Terms[1], x[1], -k * kLn2Terms[2], x[2], -k * kLn2Terms[3], -k * kLn2Terms[4], -k * kLn2Terms[5]};
  Distill(rest);
  const TDoubleDouble r = {rest[0], rest[1]};
  const TDoubleDouble tail = Multiply(Multiply(r, r), Series(kInverseFactorials, 2, 1, 24, r));
  return {{1.0, rest[0], tail.high, rest[1], tail.low, rest[2]}, static_cast<int>(k)};
}

// How ln x is put together, 0 < x < infinity: x = 2^e m, m near 1, c = i/64 is
// nearest to 1/m, and z = m c - 1, which is exact and below 2^-6.5:
// ln x = e ln 2 + ln(64/i) + ln(1 + z).
struct TNearOne {
  double e;
  std::size_t i;
  TDoubleDouble z;
};

TNearOne NearOne(double x) {
  int exponent;
  double m = std::frexp(x, &exponent);
  if (m < 0x1.6a09e667f3bcdp-1) {
    m *= 2;
    --exponent;
  }
  const auto i = static_cast<std::size_t>(64 / m + 0.5);
  const TDoubleDouble product = TwoProduct(m, static_cast<double>(i) * 0x1p-6);
  return {static_cast<double>(exponent), i, FastTwoSum(product.high - 1, product.low)};
}

// ln x, 0 < x < infinity, relative error below 2^-76:
// ln(1 + z) = z - z^2/2 + (z^3/3 - … + z^13/13), from z^5/5 on in doubles, which
// makes less than 2.5 * 2^-53 z^4/5 < 2^-79 of z. Where the first two parts are
// not 0 the sum is above 2^-7.1, so that nothing is lost in it that matters.
TDoubleDouble QuickLn(double x) {
  const auto [e, i, z] = NearOne(x);
  const TTriple& logarithm = kLogarithms[i - kFirstLogarithm];
  const TDoubleDouble square = Multiply(z, z);
  const TDoubleDouble tail = Multiply(Multiply(z, square), ShortSeries(kReciprocals, 3, 1, 5, 13, Negate(z)));
  const TDoubleDouble small = Add(z, Add({square.high * -0.5, square.low * -0.5}, tail));
  if (e == 0 && i == 64) return small;
  const TDoubleDouble twos = FastTwoSum(e * kLn2Terms[1], e * kLn2Terms[2]);
  const TDoubleDouble power = {twos.high, twos.low + e * kLn2Terms[3]};
  return Add(Add(power, TDoubleDouble{logarithm[0], logarithm[1]}), small);
}

// ln x, 0 < x < infinity, relative error below 2^-114:
// ln(1 + z) = z - z^2/2 + (z^3/3 - … - z^20/20). Near 1 the first two parts of
// ln x are 0, and the last of this, the only rounded one, is small of second
// order.
TTriple TripleLn(double x) {
  const auto [e, i, z] = NearOne(x);
  const TTriple& logarithm = kLogarithms[i - kFirstLogarithm];
  const TDoubleDouble square = TwoProduct(z.high, z.high);
  const TDoubleDouble mixed = TwoProduct(z.high, z.low);
  const TDoubleDouble tail = Multiply(Multiply(z, Multiply(z, z)), Series(kReciprocals, 3, 1, 20, Negate(z)));
  std::array<double, 16> terms = {e * kLn2Terms[1],   logarithm[0], z.high,
                                  square.high * -0.5, tail.high,    e * kLn2Terms[2],
                                  logarithm[1],       z.low,        square.low * -0.5,
                                  e * kLn2Terms[3],   -mixed.high,  tail.low,
                                  e * kLn2Terms[4],   logarithm[2], -mixed.low - 0.5 * (z.low * z.low),
                                  e * kLn2Terms[5]};
  Distill(terms);
  return {terms[0], terms[1], terms[2]};
}

// The value of ln or log10 where it is no finite number; nothing elsewhere.
std::optional<double> SpecialLogarithm(double x) {
  if (std::isnan(x) || x < 0) return kNaN;
  if (x == 0) return -kInfinity;
  if (std::isinf(x)) return kInfinity;
  return std::nullopt;
}

// cosh x, 0 <= x < 0.5, relative error below 2^-60.1: from x^4/4! on in doubles,
// which makes less than 2.5 * 2^-53 x^4/4! < 2^-60.2; x^18/18! and what follows is
// below 2^-70.
TDoubleDouble QuickCoshNear0(double x) {
  const TDoubleDouble square = TwoProduct(x, x);
  const TDoubleDouble series = ShortSeries(kInverseFactorials, 4, 2, 4, 16, square);
  const TDoubleDouble lead = Add(TDoubleDouble{1, 0}, TDoubleDouble{square.high / 2, square.low / 2});
  return Add(lead, Multiply(Multiply(square, square), series));
}

// The same for 0.5 <= x < 2^10, relative error that of QuickExp: the sum of e^x
// and its inverse, which counts as long as it is above 2^-120 of it.
TQuick QuickCosh(double x) {
  const auto [grown, exponent] = QuickExp({x, 0});
  if (exponent > 60) return {grown, exponent - 1};
  const TDoubleDouble inverse = Divide(TDoubleDouble{1, 0}, grown);
  const double scale = PowerOfTwo(-2 * exponent);
  return {Add(grown, TDoubleDouble{inverse.high * scale, inverse.low * scale}), exponent - 1};
}

bool IsInteger(double y) { return std::floor(y) == y; }
bool IsOdd(double y) { return IsInteger(y) && std::fabs(y) < 0x1p53 && std::fmod(y, 2) != 0; }

// x^y, x > 0 and not 1, where it has at most 54 bits: there it may lie exactly
// between two doubles, which no approximation tells. x = m 2^e with an odd m is
// made a root of itself until y is an integer; then x^y = m^y 2^(e y), and m^y
// has its bits but for m = 1 only if 0 < y <= 34, as 3^35 > 2^54.
std::optional<TScaled> ExactPower(double x, double y) {
  int e;
  auto m = static_cast<std::uint64_t>(std::ldexp(std::frexp(x, &e), 53));
  e += std::countr_zero(m) - 53;
  m >>= std::countr_zero(m);
  for (; !IsInteger(y); y *= 2) {
    const auto root = static_cast<std::uint64_t>(std::sqrt(static_cast<double>(m)));
    if (e % 2 != 0 || root * root != m) return std::nullopt;
    m = root;
    e /= 2;
  }
  if (std::fabs(y) > 4096 || (m != 1 && (y < 0 || y > 34))) return std::nullopt;
  std::uint64_t power = 1;
  for (int n = m == 1 ? 0 : static_cast<int>(y); n > 0; --n) {
    if (power > (std::uint64_t{1} << 54) / m) return std::nullopt;
    power *= m;
  }
  const std::uint64_t low = power & 0xFFFFFFFF;
  return TScaled{{static_cast<double>(power - low), static_cast<double>(low)}, e * static_cast<int>(y)};
}

// 0 < x < infinity, not 1; y finite, not 0.
double PowerOfPositive(double x, double y) {
  // These can be arbitrarily near to the middle of two doubles, and are rounded
  // once as they are.
  if (y == 2) return x * x;
  if (y == 0.5) return std::sqrt(x);
  if (y == -1) return 1 / x;
  // |ln x| lies between 2^-53 and 2^10.
  if (std::fabs(y) < 0x1p-70) return 1;
  if (std::fabs(y) > 0x1p70) return (x > 1) == (y > 0) ? kInfinity : 0;
  // |y ln x| < 2^10 is off by less than 2^-66. The middle between two doubles is
  // never sure, so an exact power that lies there goes on.
  const TDoubleDouble near = Multiply({y, 0}, QuickLn(x));
  if (std::fabs(near.high) < 700) {
    if (const auto rounded = Round(QuickExp(near), 0x1p-60)) return *rounded;
  }
  if (const auto exact = ExactPower(x, y)) return Round(*exact);
  const TTriple logarithm = TripleLn(x);
  const TDoubleDouble first = TwoProduct(y, logarithm[0]);
  const TDoubleDouble second = TwoProduct(y, logarithm[1]);
  std::array<double, 5> product = {first.high, first.low, second.high, second.low, y * logarithm[2]};
  Distill(product);
  if (product[0] > 800) return kInfinity;
  if (product[0] < -800) return 0;
  return Round(ScaledExp({product[0], product[1], product[2]}));
}

// The same with 0 and infinity.
double PowerOfMagnitude(double x, double y) {
  if (x == 1) return 1;
  if (x == 0 || std::isinf(x) || std::isinf(y)) return (x > 1) == (y > 0) ? kInfinity : 0;
  return PowerOfPositive(x, y);
}

}  // namespace

double Exp(double x) {
  if (std::isnan(x)) return kNaN;
  if (x > 710) return kInfinity;
  if (x < -746) return 0;
  if (const auto rounded = Round(QuickExp({x, 0}), 0x1p-60)) return *rounded;
  return Round(ScaledExp({x}));
}

double Ln(double x) {
  if (const auto special = SpecialLogarithm(x)) return *special;
  if (const auto rounded = RoundNear(QuickLn(x), 0x1p-75)) return *rounded;
  return RoundScaled(TripleLn(x), 0);
}

double Log10(double x) {
  if (const auto special = SpecialLogarithm(x)) return *special;
  if (const auto rounded = RoundNear(Multiply(QuickLn(x), kInverseLn10), 0x1p-75)) return *rounded;
  const TTriple logarithm = TripleLn(x);
  return Multiply({logarithm[0], logarithm[1]}, kInverseLn10).high;
}

double Cosh(double x) {
  if (std::isnan(x)) return kNaN;
  x = std::fabs(x);
  if (x > 711) return kInfinity;
  if (const auto rounded = x < 0.5 ? RoundNear(QuickCoshNear0(x), 0x1p-60) : Round(QuickCosh(x), 0x1p-60)) {
    return *rounded;
  }
  if (x < 0.5) {
    // 1 + x^2/2! + (x^4/4! + … + x^28/28!); what is left out is below 2^-137.
    const TDoubleDouble square = TwoProduct(x, x);
    const TDoubleDouble tail = Multiply(Multiply(square, square), Series(kInverseFactorials, 4, 2, 28, square));
    return RoundScaled(std::array{1.0, square.high / 2, tail.high, square.low / 2, tail.low}, 0);
  }
  TScaled exp = ScaledExp({x});
  Distill(exp.terms);
  const TDoubleDouble grown = {exp.terms[0], exp.terms[1]};
  const TDoubleDouble inverse = Divide({1, 0}, grown);
  const TDoubleDouble shrunk = {std::ldexp(inverse.high, -2 * exp.exponent),
                                std::ldexp(inverse.low, -2 * exp.exponent)};
  const TDoubleDouble sum = Add(grown, shrunk);
  return RoundScaled(std::array{sum.high, sum.low}, exp.exponent - 1);
}

double Power(double x, double y) {
  if (y == 0 || x == 1) return 1;
  if (std::isnan(x) || std::isnan(y)) return kNaN;
  if (x < 0 && std::isfinite(x) && std::isfinite(y) && !IsInteger(y)) return kNaN;
  const double power = PowerOfMagnitude(std::fabs(x), y);
  return std::signbit(x) && IsOdd(y) ? -power : power;
}

}  // namespace elementary
