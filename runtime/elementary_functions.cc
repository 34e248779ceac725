// Exponential, logarithms, hyperbolic cosine and power.
#include "runtime/elementary_functions.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "runtime/double_double.h"
#include "runtime/elementary_constants.h"

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

// ln x, 0 < x < infinity, relative error below 2^-114: from x = 2^e m, m near
// 1, c = i/64 nearest to 1/m, and z = m c - 1, which is exact and below 2^-6.5:
// ln x = e ln 2 + ln(64/i) + z - z^2/2 + (z^3/3 - … - z^20/20). Near 1 the
// first two are 0, and the last, the only rounded one, is small of second
// order.
TTriple TripleLn(double x) {
  int exponent;
  double m = std::frexp(x, &exponent);
  if (m < 0x1.6a09e667f3bcdp-1) {
    m *= 2;
    --exponent;
  }
  const double e = exponent;
  const auto i = static_cast<std::size_t>(64 / m + 0.5);
  const TTriple& logarithm = kLogarithms[i - kFirstLogarithm];
  const TDoubleDouble product = TwoProduct(m, static_cast<double>(i) * 0x1p-6);
  const TDoubleDouble z = FastTwoSum(product.high - 1, product.low);
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
  if (y == -1) return 1 / x;
  // |ln x| lies between 2^-53 and 2^10.
  if (std::fabs(y) < 0x1p-70) return 1;
  if (std::fabs(y) > 0x1p70) return (x > 1) == (y > 0) ? kInfinity : 0;
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
  return Round(ScaledExp({x}));
}

double Ln(double x) {
  if (const auto special = SpecialLogarithm(x)) return *special;
  return RoundScaled(TripleLn(x), 0);
}

double Log10(double x) {
  if (const auto special = SpecialLogarithm(x)) return *special;
  const TTriple logarithm = TripleLn(x);
  return Multiply({logarithm[0], logarithm[1]}, kInverseLn10).high;
}

double Cosh(double x) {
  if (std::isnan(x)) return kNaN;
  x = std::fabs(x);
  if (x > 711) return kInfinity;
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
