// Constants of the elementary functions, worked out by the compiler in
// fixed point of 192 bits after the point; no digit is typed in but those of
// 2/pi.
#ifndef LOOPBOX_RUNTIME_NUMBERS_ELEMENTARY_CONSTANTS_H
#define LOOPBOX_RUNTIME_NUMBERS_ELEMENTARY_CONSTANTS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "runtime/numbers/double_double.h"

namespace elementary {

// A number 0 <= x < 2^32: 32 bits before the point and 192 after it, the
// highest word first. Each operation is off by less than one in the last bit.
struct TFixed {
  std::array<std::uint32_t, 7> words{};
};

constexpr TFixed Whole(std::uint32_t number) { return {{number}}; }

constexpr TFixed Add(TFixed a, const TFixed& b) {
  std::uint64_t carry = 0;
  for (std::size_t i = a.words.size(); i-- > 0;) {
    carry += std::uint64_t{a.words[i]} + b.words[i];
    a.words[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  return a;
}

// a >= b
constexpr TFixed Subtract(TFixed a, const TFixed& b) {
  std::uint64_t borrow = 0;
  for (std::size_t i = a.words.size(); i-- > 0;) {
    const std::uint64_t difference = std::uint64_t{a.words[i]} - b.words[i] - borrow;
    a.words[i] = static_cast<std::uint32_t>(difference);
    borrow = difference >> 63;
  }
  return a;
}

constexpr TFixed Multiply(TFixed a, std::uint32_t factor) {
  std::uint64_t carry = 0;
  for (std::size_t i = a.words.size(); i-- > 0;) {
    carry += std::uint64_t{a.words[i]} * factor;
    a.words[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  return a;
}

constexpr TFixed Divide(TFixed a, std::uint32_t divisor) {
  std::uint64_t rest = 0;
  for (std::uint32_t& word : a.words) {
    rest = rest << 32 | word;
    word = static_cast<std::uint32_t>(rest / divisor);
    rest %= divisor;
  }
  return a;
}

// The words as doubles: exact, their sum is x.
constexpr std::array<double, 7> Terms(const TFixed& x) {
  std::array<double, 7> terms{};
  double scale = 1;
  for (std::size_t i = 0; i < terms.size(); ++i, scale *= 0x1p-32) terms[i] = x.words[i] * scale;
  return terms;
}

constexpr std::array<double, 3> ToTriple(const TFixed& x) {
  std::array<double, 7> terms = Terms(x);
  Distill(terms);
  return {terms[0], terms[1], terms[2]};
}

constexpr TDoubleDouble ToPair(const TFixed& x) {
  const std::array<double, 3> triple = ToTriple(x);
  return {triple[0], triple[1]};
}

// ratio - ratio^3/3 + ratio^5/5 - … (alternating: the arc tangent) or with all
// signs positive (the inverse hyperbolic tangent), ratio = numerator /
// denominator <= 1/10, denominator < 2^16.
constexpr TFixed InverseTangent(std::uint32_t numerator, std::uint32_t denominator, bool alternating) {
  TFixed power = Divide(Whole(numerator), denominator);
  TFixed sum;
  bool negative = false;
  for (std::uint32_t n = 1; power.words != TFixed{}.words; n += 2) {
    const TFixed term = Divide(power, n);
    sum = negative ? Subtract(sum, term) : Add(sum, term);
    negative = alternating && !negative;
    power = Divide(Multiply(power, numerator * numerator), denominator * denominator);
  }
  return sum;
}

// |ln(i / 64)| for i of 45 … 91, at i - kFirstLogarithm, from
// ln((i + 1) / i) = 2 artanh(1 / (2 i + 1)).
constexpr std::size_t kFirstLogarithm = 45;
constexpr std::size_t kLastLogarithm = 91;
constexpr auto kFixedLogarithms = [] {
  std::array<TFixed, kLastLogarithm - kFirstLogarithm + 1> table{};
  const auto step = [](std::size_t i) {
    return Multiply(InverseTangent(1, static_cast<std::uint32_t>(2 * i + 1), false), 2);
  };
  for (std::size_t i = 64; i > kFirstLogarithm; --i) {
    table[i - 1 - kFirstLogarithm] = Add(table[i - kFirstLogarithm], step(i - 1));
  }
  for (std::size_t i = 64; i < kLastLogarithm; ++i) {
    table[i + 1 - kFirstLogarithm] = Add(table[i - kFirstLogarithm], step(i));
  }
  return table;
}();

// ln(64 / i) to about 150 bits, at i - kFirstLogarithm.
constexpr auto kLogarithms = [] {
  std::array<std::array<double, 3>, kFixedLogarithms.size()> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = ToTriple(kFixedLogarithms[i]);
    if (i + kFirstLogarithm > 64) {
      for (double& term : table[i]) term = -term;
    }
  }
  return table;
}();

// ln 2 = ln(64/45) + ln(90/64), ln 10 = 3 ln 2 + ln(80/64).
constexpr TFixed kFixedLn2 = Add(kFixedLogarithms[45 - kFirstLogarithm], kFixedLogarithms[90 - kFirstLogarithm]);
constexpr TFixed kFixedLn10 = Add(Multiply(kFixedLn2, 3), kFixedLogarithms[80 - kFirstLogarithm]);

// ln 2 in terms of 32 bits each: their products with an integer below 2^21 are
// exact. The first term, the whole part, is 0.
constexpr std::array<double, 7> kLn2Terms = Terms(kFixedLn2);

constexpr TDoubleDouble kInverseLn10 = Divide(TDoubleDouble{1, 0}, ToPair(kFixedLn10));

// arctan(i / 16), from
// arctan((i + 1) / 16) - arctan(i / 16) = arctan(16 / (256 + i (i + 1))).
constexpr auto kFixedArcTangents = [] {
  std::array<TFixed, 17> table{};
  for (std::uint32_t i = 0; i < 16; ++i) {
    table[i + 1] = Add(table[i], InverseTangent(16, 256 + i * (i + 1), true));
  }
  return table;
}();
constexpr auto kArcTangents = [] {
  std::array<TDoubleDouble, kFixedArcTangents.size()> table{};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = ToPair(kFixedArcTangents[i]);
  return table;
}();

constexpr TFixed kFixedHalfPi = Multiply(kFixedArcTangents[16], 2);
constexpr TDoubleDouble kPi = ToPair(Multiply(kFixedHalfPi, 2));
constexpr TDoubleDouble kHalfPi = ToPair(kFixedHalfPi);
// In terms of 32 bits, as those of ln 2. The first is the whole part, 1.
constexpr std::array<double, 7> kHalfPiTerms = Terms(kFixedHalfPi);

// 1 / n! and 1 / n at n.
constexpr auto kInverseFactorials = [] {
  std::array<TDoubleDouble, 29> table{};
  table[0] = {1, 0};
  for (std::size_t n = 1; n < table.size(); ++n) {
    table[n] = Divide(table[n - 1], TDoubleDouble{static_cast<double>(n), 0});
  }
  return table;
}();
constexpr auto kReciprocals = [] {
  std::array<TDoubleDouble, 26> table{};
  for (std::size_t n = 1; n < table.size(); ++n) {
    table[n] = Divide(TDoubleDouble{1, 0}, TDoubleDouble{static_cast<double>(n), 0});
  }
  return table;
}();

// The coefficients of x^(2n + 1) in the series of the arc sine,
// (2n)! / (4^n n!^2 (2n + 1)), at n.
constexpr auto kArcSines = [] {
  std::array<TDoubleDouble, 11> table{};
  TDoubleDouble product = {1, 0};
  for (std::size_t n = 0; n < table.size(); ++n) {
    const auto odd = static_cast<double>(2 * n + 1);
    table[n] = Divide(product, TDoubleDouble{odd, 0});
    product = Divide(Multiply(product, TDoubleDouble{odd, 0}), TDoubleDouble{odd + 1, 0});
  }
  return table;
}();

// The first 1248 bits of 2/pi after the point, worked out with MPFR as
// floor(2^1248 * 2/pi).
constexpr std::array<std::uint32_t, 39> kTwoOverPi = {
    0xA2F9836E, 0x4E441529, 0xFC2757D1, 0xF534DDC0, 0xDB629599, 0x3C439041, 0xFE5163AB, 0xDEBBC561,
    0xB7246E3A, 0x424DD2E0, 0x06492EEA, 0x09D1921C, 0xFE1DEB1C, 0xB129A73E, 0xE88235F5, 0x2EBB4484,
    0xE99C7026, 0xB45F7E41, 0x3991D639, 0x835339F4, 0x9C845F8B, 0xBDF9283B, 0x1FF897FF, 0xDE05980F,
    0xEF2F118B, 0x5A0A6D1F, 0x6D367ECF, 0x27CB09B7, 0x4F463F66, 0x9E5FEA2D, 0x7527BAC7, 0xEBE5F17B,
    0x3D0739F7, 0x8A5292EA, 0x6BFB5FB1, 0x1F8D5D08, 0x56033046, 0xFC7B6BAB, 0xF0CFBC20,
};

}  // namespace elementary

#endif
