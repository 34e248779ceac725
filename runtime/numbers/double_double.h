// Numbers held as unevaluated sums of doubles, for results that are to be
// rounded once.
//
// Everything is done with IEEE double +, -, *, / and sqrt, rounded to nearest,
// in the order written; contraction to fused operations must be off. The
// error-free sums and products are those of Dekker (A floating-point technique
// for extending the available precision, 1971) and Knuth; the operations on
// pairs and their bounds are analysed by Joldes, Muller and Popescu (Tight and
// rigorous error bounds for basic building blocks of double-word arithmetic,
// 2017); long sums are distilled as by Shewchuk (Adaptive precision
// floating-point arithmetic, 1997) and Ogita, Rump and Oishi (2005).
#ifndef LOOPBOX_RUNTIME_NUMBERS_DOUBLE_DOUBLE_H
#define LOOPBOX_RUNTIME_NUMBERS_DOUBLE_DOUBLE_H

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace elementary {

// The number high + low, |low| <= half a unit in the last place of high.
struct TDoubleDouble {
  double high = 0;
  double low = 0;
};

// high + low == a + b exactly, high the rounded sum.
constexpr TDoubleDouble TwoSum(double a, double b) {
  const double sum = a + b;
  const double part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}

// The same when |a| >= |b| or a is 0.
constexpr TDoubleDouble FastTwoSum(double a, double b) {
  const double sum = a + b;
  return {sum, b - (sum - a)};
}

// a as a sum of two numbers of at most 26 bits (Veltkamp). |a| < 2^996.
constexpr TDoubleDouble Split(double a) {
  const double scaled = 0x8000001p0 * a;
  const double high = scaled - (scaled - a);
  return {high, a - high};
}

// high + low == a * b exactly; |a|, |b| < 2^996, and low is exact as long as
// |a * b| is 0 or >= 2^-968.
constexpr TDoubleDouble TwoProduct(double a, double b) {
  const double product = a * b;
  const TDoubleDouble as = Split(a);
  const TDoubleDouble bs = Split(b);
  return {product, ((as.high * bs.high - product) + as.high * bs.low + as.low * bs.high) + as.low * bs.low};
}

constexpr TDoubleDouble Negate(TDoubleDouble a) { return {-a.high, -a.low}; }

// Relative error below 3.1 * 2^-106 whatever the signs.
constexpr TDoubleDouble Add(TDoubleDouble a, TDoubleDouble b) {
  const TDoubleDouble high = TwoSum(a.high, b.high);
  const TDoubleDouble low = TwoSum(a.low, b.low);
  const TDoubleDouble sum = FastTwoSum(high.high, high.low + low.high);
  return FastTwoSum(sum.high, low.low + sum.low);
}
constexpr TDoubleDouble Subtract(TDoubleDouble a, TDoubleDouble b) { return Add(a, Negate(b)); }

// Relative error below 7 * 2^-106.
constexpr TDoubleDouble Multiply(TDoubleDouble a, TDoubleDouble b) {
  const TDoubleDouble product = TwoProduct(a.high, b.high);
  return FastTwoSum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

// Relative error below 12 * 2^-106.
constexpr TDoubleDouble Divide(TDoubleDouble a, TDoubleDouble b) {
  const double first = a.high / b.high;
  const TDoubleDouble rest = Subtract(a, Multiply({first, 0}, b));
  const double second = rest.high / b.high;
  const double third = Subtract(rest, Multiply({second, 0}, b)).high / b.high;
  const TDoubleDouble sum = FastTwoSum(first, second);
  return FastTwoSum(sum.high, sum.low + third);
}

// a >= 0; relative error below 4 * 2^-106.
inline TDoubleDouble SquareRoot(TDoubleDouble a) {
  if (a.high == 0) return {};
  const double root = std::sqrt(a.high);
  const TDoubleDouble square = TwoProduct(root, root);
  return FastTwoSum(root, ((a.high - square.high) - square.low + a.low) / (2 * root));
}

// Leaves the sum of the terms as it is, exactly, and makes each term the
// rounded sum of what stands from it on, near enough: the first three are the
// sum to about 150 bits. Terms should come in falling magnitude, roughly.
template <std::size_t count>
constexpr void Distill(std::array<double, count>& terms) {
  for (int pass = 0; pass < 4; ++pass) {
    for (std::size_t i = count - 1; i > 0; --i) {
      const TDoubleDouble sum = TwoSum(terms[i - 1], terms[i]);
      terms[i - 1] = sum.high;
      terms[i] = sum.low;
    }
  }
}

// a + b rounded to odd, |b| <= half a unit in the last place of a: a result
// that is not exact has an odd mantissa, so that a later rounding to nearest
// of a sum with it is the only one (Boldo and Melquiond: Emulation of a FMA
// and correctly rounded sums, 2008).
inline double RoundToOdd(double a, double b) {
  const auto bits = std::bit_cast<std::uint64_t>(a);
  if (b == 0 || (bits & 1) != 0) return a;
  return std::bit_cast<double>(std::signbit(a) == std::signbit(b) ? bits + 1 : bits - 1);
}

// The sum of the terms times 2^exponent, rounded once, to nearest even, to a
// double, be it subnormal; infinite when too large. The sum is 0 or between
// 2^-100 and 2^100 in magnitude, and positive where the result is subnormal.
template <std::size_t count>
double RoundScaled(std::array<double, count> terms, int exponent) {
  Distill(terms);
  double tail = 0;
  for (std::size_t i = count - 1; i > 0; --i) {
    if (terms[i] != 0) tail = RoundToOdd(terms[i], tail);
  }
  const double rounded = terms[0] + tail;
  if (rounded == 0 || exponent < -1200) return 0;
  if (std::ilogb(rounded) + exponent >= -1022) return std::ldexp(rounded, exponent);
  // Beside this anchor the last place is worth 2^(-1074 - exponent).
  const double anchor = std::ldexp(1.0, 52 - 1074 - exponent);
  const TDoubleDouble sum = TwoSum(anchor, terms[0]);
  const TDoubleDouble rest = TwoSum(sum.low, tail);
  return std::ldexp(sum.high + RoundToOdd(rest.high, rest.low) - anchor, exponent);
}

// table[first] + table[first + step] x + table[first + 2 step] x^2 + … up to
// table[last], by Horner's rule.
template <std::size_t count>
constexpr TDoubleDouble Series(const std::array<TDoubleDouble, count>& table, std::size_t first, std::size_t step,
                               std::size_t last, TDoubleDouble x) {
  TDoubleDouble sum = table[last];
  for (std::size_t n = last; n > first; n -= step) sum = Add(table[n - step], Multiply(x, sum));
  return sum;
}

// The same with its terms from `middle` on in doubles, which takes a fraction of
// the time. As long as each of these outweighs the next one fourteen-fold, what they
// add up to has a relative error below 2.5 * 2^-53.
template <std::size_t count>
constexpr TDoubleDouble ShortSeries(const std::array<TDoubleDouble, count>& table, std::size_t first, std::size_t step,
                                    std::size_t middle, std::size_t last, TDoubleDouble x) {
  double rest = table[last].high;
  for (std::size_t n = last; n > middle; n -= step) rest = table[n - step].high + x.high * rest;
  TDoubleDouble sum = {rest, 0};
  for (std::size_t n = middle; n > first; n -= step) sum = Add(table[n - step], Multiply(x, sum));
  return sum;
}

// x rounded, when everything within |x| * bound of it rounds to the same double;
// nothing otherwise (Ziv: Fast evaluation of elementary mathematical functions
// with correctly rounded last bit, 1991). The test itself is off by less than
// 2^-104 |x|, so a bound has to have that much room; the double is normal or 0.
inline std::optional<double> RoundNear(TDoubleDouble x, double bound) {
  const double error = std::fabs(x.high) * bound;
  const double below = x.high + (x.low - error);
  const double above = x.high + (x.low + error);
  if (below != above) return std::nullopt;
  return above;
}

}  // namespace elementary

#endif
