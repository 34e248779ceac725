// The trigonometric functions and their inverses.
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include "runtime/numbers/double_double.h"
#include "runtime/numbers/elementary_constants.h"
#include "runtime/numbers/elementary_functions.h"

namespace elementary {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Below this x is the rounded sine, tangent and arc sine of x: they differ
// from x by less than x^3/3, and half a unit in the last place is at least
// 2^-54 |x|.
constexpr double kTiny = 0x1p-28;

// An angle quadrant * pi/2 + rest.
struct TReduced {
  TDoubleDouble rest;  // |rest| < 0.7855
  unsigned quadrant;   // modulo 4
};

constexpr std::size_t kWindow = 9;             // words of 2/pi
constexpr std::size_t kProduct = kWindow + 2;  // words
constexpr int kProductBits = int{kProduct} * 32;
using TProduct = std::array<std::uint32_t, kProduct>;

void ShiftLeft(TProduct& words, int bits) {
  for (; bits > 0; bits -= 31) {
    const int step = bits < 31 ? bits : 31;
    std::uint32_t carry = 0;
    for (std::size_t i = kProduct; i-- > 0;) {
      const std::uint32_t word = words[i];
      words[i] = word << step | carry;
      carry = word >> (32 - step);
    }
  }
}

void NegateWords(TProduct& words) {
  std::uint32_t carry = 1;
  for (std::size_t i = kProduct; i-- > 0;) {
    words[i] = ~words[i] + carry;
    carry = carry != 0 && words[i] == 0 ? 1 : 0;
  }
}

// 0 <= x < infinity. Payne and Hanek: of x 2/pi, x = m 2^e with an integer m,
// only what m makes with 288 bits of 2/pi counts: the bits before them
// contribute multiples of 4, those after them less than 2^-200. No double is
// nearer to a multiple of pi/2 than 2^-62. Relative error below 2^-102.
TReduced Reduce(double x) {
  if (x <= 0.78) return {{x, 0}, 0};
  int e;
  const auto m = static_cast<std::uint64_t>(std::ldexp(std::frexp(x, &e), 53));
  e -= 53;
  const int skipped = e > 2 ? (e - 2) / 32 : 0;
  TProduct product{};
  for (std::size_t half = 0; half < 2; ++half) {
    const std::uint64_t factor = half == 0 ? m & 0xFFFFFFFF : m >> 32;
    std::uint64_t carry = 0;
    for (std::size_t i = kWindow; i-- > 0;) {
      std::uint32_t& word = product[i + 2 - half];
      carry += word + factor * kTwoOverPi[static_cast<std::size_t>(skipped) + i];
      word = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    product[1 - half] = static_cast<std::uint32_t>(carry);
  }
  // Only the whole part modulo 4 and the fraction stay.
  const int fractionBits = 32 * (skipped + int{kWindow}) - e;
  ShiftLeft(product, kProductBits - 2 - fractionBits);
  unsigned quadrant = product[0] >> 30;
  ShiftLeft(product, 2);
  const bool negative = product[0] >> 31 != 0;
  if (negative) {
    ++quadrant;
    NegateWords(product);
  }
  std::size_t first = 0;
  while (product[first] == 0) ++first;
  std::array<double, 6> fraction;
  for (std::size_t i = 0; i < fraction.size(); ++i) {
    fraction[i] = std::ldexp(product[first + i], -32 * static_cast<int>(first + i + 1));
  }
  Distill(fraction);
  const TDoubleDouble rest = Multiply({fraction[0], fraction[1]}, kHalfPi);
  return {negative ? Negate(rest) : rest, quadrant % 4};
}

// The same for x < 2^20, to 2^-70, as Cody and Waite do it; nothing near a
// multiple of pi/2. k has at most 20 bits, so that its products with the first
// two terms together and with each further one are exact; so is x less the first,
// both being multiples of the smaller of 2^-32 and x's last place, and the
// difference below 1. The rest is rounded at 2^-44 and less, and what is left out
// of pi/2 makes less than 2^-107.
std::optional<TReduced> QuickReduce(double x) {
  if (x <= 0.78) return TReduced{{x, 0}, 0};
  if (x >= 0x1p20) return std::nullopt;
  const double k = std::floor(x * (1 / kHalfPi.high) + 0.5);
  const TDoubleDouble rest = TwoSum(x - k * (kHalfPiTerms[0] + kHalfPiTerms[1]), -k * kHalfPiTerms[2]);
  if (std::fabs(rest.high) < 0x1p-25) return std::nullopt;
  return TReduced{FastTwoSum(rest.high, rest.low - (k * kHalfPiTerms[3] + k * kHalfPiTerms[4])),
                  static_cast<unsigned>(k) % 4};
}

// The number lead + tail, kept apart: where the tail is small so is its error,
// and small arguments, whose x and x^3/3 can come very near to the middle of
// two doubles, are rounded rightly too.
struct TParts {
  TDoubleDouble lead;
  TDoubleDouble tail;
};

TParts Negate(TParts x) { return {Negate(x.lead), Negate(x.tail)}; }
TDoubleDouble Sum(TParts x) { return Add(x.lead, x.tail); }
double Round(TParts x) { return RoundScaled(std::array{x.lead.high, x.tail.high, x.lead.low, x.tail.low}, 0); }

// How far a series is worked out: to the precision of a pair, or to what mostly
// tells how the result is rounded.
enum ELength { kWhole, kShort };

// sin x / x - 1 and cos x - 1 of z = -x^2 for |x| <= pi/4, |z| < 0.62, by
// Taylor's series. What is left out is below 2^-112 of the whole ones, and below
// 2^-71 of the short ones, whose terms in doubles make errors below
// 2.5 * 2^-53 z^2/5! < 2^-59.9 and 2.5 * 2^-53 z^3/6! < 2^-63.
template <ELength length>
TDoubleDouble SinTail(TDoubleDouble z) {
  return Multiply(
      z, length == kWhole ? Series(kInverseFactorials, 3, 2, 27, z) : ShortSeries(kInverseFactorials, 3, 2, 5, 19, z));
}
template <ELength length>
TDoubleDouble CosTail(TDoubleDouble z) {
  return Multiply(
      z, length == kWhole ? Series(kInverseFactorials, 2, 2, 28, z) : ShortSeries(kInverseFactorials, 2, 2, 6, 20, z));
}
TDoubleDouble MinusSquare(TDoubleDouble x) { return Negate(Multiply(x, x)); }

// Short: relative error below 2^-59.8, as sin x > 0.9 x and cos x > 0.7.
template <ELength length>
TParts ReducedSin(const TReduced& angle) {
  const TDoubleDouble z = MinusSquare(angle.rest);
  const TParts size = angle.quadrant % 2 == 0 ? TParts{angle.rest, Multiply(angle.rest, SinTail<length>(z))}
                                              : TParts{{1, 0}, CosTail<length>(z)};
  return angle.quadrant / 2 == 0 ? size : Negate(size);
}
template <ELength length>
TParts ReducedCos(const TReduced& angle) {
  return ReducedSin<length>({angle.rest, (angle.quadrant + 1) % 4});
}

// With the tails s and c of sine and cosine, tan x = x + x (s - c) / (1 + c).
// Short: relative error below 2^-59.2.
template <ELength length>
TParts ReducedTan(const TReduced& angle) {
  if (angle.quadrant % 2 != 0) return {Divide(Sum(ReducedSin<length>(angle)), Sum(ReducedCos<length>(angle))), {}};
  const TDoubleDouble z = MinusSquare(angle.rest);
  const TDoubleDouble cosTail = CosTail<length>(z);
  const TDoubleDouble factor = Divide(Subtract(SinTail<length>(z), cosTail), Add({1, 0}, cosTail));
  return {angle.rest, Multiply(angle.rest, factor)};
}

// A function of the angle x, 0 <= x < infinity: the short way where that does.
double OfAngle(double x, TParts (*quick)(const TReduced&), TParts (*whole)(const TReduced&)) {
  if (const auto angle = QuickReduce(x)) {
    if (const auto rounded = RoundNear(Sum(quick(*angle)), 0x1p-59)) return *rounded;
  }
  return Round(whole(Reduce(x)));
}

// The angle of the point (x, y), x and y >= 0, not both 0; relative error below
// 2^-100. With c = i/16 nearest to q = y/x <= 1:
// arctan q = arctan c + arctan t, t = (q - c) / (1 + c q), |t| <= 1/32, and
// arctan t = t - t^3/3 + … + t^25/25, what is left out being below 2^-134.
// Short: relative error below 2^-62; up to t^15/15, and all but t in doubles.
template <ELength length>
TParts Angle(TDoubleDouble y, TDoubleDouble x) {
  const bool steep = y.high > x.high;
  const TDoubleDouble q = steep ? Divide(x, y) : Divide(y, x);
  const auto i = static_cast<std::size_t>(q.high * 16 + 0.5);
  const TDoubleDouble c = {static_cast<double>(i) / 16, 0};
  const TDoubleDouble t = i == 0 ? q : Divide(Subtract(q, c), Add({1, 0}, Multiply(c, q)));
  const TDoubleDouble z = MinusSquare(t);
  const TDoubleDouble series =
      length == kWhole ? Series(kReciprocals, 3, 2, 25, z) : ShortSeries(kReciprocals, 3, 2, 3, 15, z);
  const TDoubleDouble tail = Multiply(t, Multiply(z, series));
  if (!steep && i == 0) return {t, tail};
  const TDoubleDouble angle = Add(kArcTangents[i], Add(t, tail));
  return {steep ? Subtract(kHalfPi, angle) : angle, {}};
}

// sqrt(1 - x^2), |x| <= 1
TDoubleDouble Complement(double x) { return SquareRoot(Multiply(TwoSum(1, -x), TwoSum(1, x))); }

// The angle of a point with y and x >= 0, not both 0, or of its mirror image with
// a negative x: the short way where that does.
double RoundedAngle(TDoubleDouble y, TDoubleDouble x, bool leftward) {
  const TDoubleDouble near = Sum(Angle<kShort>(y, x));
  if (const auto rounded = RoundNear(leftward ? Subtract(kPi, near) : near, 0x1p-61)) return *rounded;
  const TParts angle = Angle<kWhole>(y, x);
  return leftward ? Subtract(kPi, Sum(angle)).high : Round(angle);
}

// The angle of a point with positive y and x, both finite or not.
double AngleOfMagnitudes(double y, double x, bool leftward) {
  if (std::isinf(x)) {
    if (std::isinf(y)) return leftward ? Multiply(kHalfPi, {1.5, 0}).high : kHalfPi.high / 2;
    return leftward ? kPi.high : 0;
  }
  if (std::isinf(y)) return kHalfPi.high;
  int yExponent;
  int xExponent;
  const double yMantissa = std::frexp(y, &yExponent);
  const double xMantissa = std::frexp(x, &xExponent);
  const int exponent = yExponent - xExponent;
  // Within 2^-59 of pi/2 or pi, which are farther from the middle of doubles.
  if (exponent > 60) return kHalfPi.high;
  if (exponent < -60 && leftward) return kPi.high;
  if (exponent < -60) {
    // The quotient, less a third of its cube: it matters only that this is less.
    const double quotient = yMantissa / xMantissa;
    const TDoubleDouble product = TwoProduct(quotient, xMantissa);
    const double rest = (yMantissa - product.high - product.low) / xMantissa;
    return RoundScaled(std::array{quotient, rest, -0x1p-120}, exponent);
  }
  return RoundedAngle({std::ldexp(yMantissa, exponent), 0}, {xMantissa, 0}, leftward);
}

}  // namespace

double Sin(double x) {
  if (!std::isfinite(x)) return kNaN;
  if (std::fabs(x) < kTiny) return x;
  const double sin = OfAngle(std::fabs(x), ReducedSin<kShort>, ReducedSin<kWhole>);
  return x < 0 ? -sin : sin;
}

double Cos(double x) { return std::isfinite(x) ? OfAngle(std::fabs(x), ReducedCos<kShort>, ReducedCos<kWhole>) : kNaN; }

double Tan(double x) {
  if (!std::isfinite(x)) return kNaN;
  if (std::fabs(x) < kTiny) return x;
  const double tan = OfAngle(std::fabs(x), ReducedTan<kShort>, ReducedTan<kWhole>);
  return x < 0 ? -tan : tan;
}

double ArcSin(double x) {
  if (!(std::fabs(x) <= 1)) return kNaN;
  if (std::fabs(x) < kTiny) return x;
  if (std::fabs(x) < 0x1p-6) {
    // What is left out of the series is below 2^-136.
    const TDoubleDouble z = TwoProduct(x, x);
    return Round({{x, 0}, Multiply({x, 0}, Multiply(z, Series(kArcSines, 1, 1, 10, z)))});
  }
  return std::copysign(RoundedAngle({std::fabs(x), 0}, Complement(x), false), x);
}

double ArcCos(double x) {
  if (!(std::fabs(x) <= 1)) return kNaN;
  return RoundedAngle(Complement(x), {std::fabs(x), 0}, x < 0);
}

double ArcTan(double x) { return ArcTan2(x, 1); }

double ArcTan2(double y, double x) {
  if (std::isnan(x) || std::isnan(y)) return kNaN;
  if (y == 0) return std::copysign(std::signbit(x) ? kPi.high : 0, y);
  if (x == 0) return std::copysign(kHalfPi.high, y);
  return std::copysign(AngleOfMagnitudes(std::fabs(y), std::fabs(x), x < 0), y);
}

}  // namespace elementary
