// The elementary functions in a table, arguments of every kind for them, and
// a digest of what they make of these: the same on every platform.
#ifndef LOOPBOX_TESTS_ELEMENTARY_ARGUMENTS_H
#define LOOPBOX_TESTS_ELEMENTARY_ARGUMENTS_H

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "runtime/numbers/elementary_constants.h"
#include "runtime/numbers/elementary_functions.h"

namespace tests {

struct TElementary {
  const char* name;
  double (*ofOne)(double);
  double (*ofTwo)(double, double);
  double least, most;      // the range of many of the arguments
  std::uint64_t sameBits;  // the digest

  double Of(double x, double y) const { return ofOne != nullptr ? ofOne(x) : ofTwo(x, y); }
};

inline constexpr TElementary kElementary[] = {
    {"Sin", elementary::Sin, nullptr, -10, 10, 0xD14C29D9850733DE},
    {"Cos", elementary::Cos, nullptr, -10, 10, 0x15F630398B94A912},
    {"Tan", elementary::Tan, nullptr, -10, 10, 0xA8DCF6DC02D67144},
    {"ArcSin", elementary::ArcSin, nullptr, -1, 1, 0xEC4E34B9CC4FD9A0},
    {"ArcCos", elementary::ArcCos, nullptr, -1, 1, 0x6A91C6D00F168B30},
    {"ArcTan", elementary::ArcTan, nullptr, -10, 10, 0x22BCD9095FFE5D65},
    {"Exp", elementary::Exp, nullptr, -750, 750, 0x1F43892C41AD73B7},
    {"Ln", elementary::Ln, nullptr, 0, 3, 0xF6E178FABD41E81D},
    {"Log10", elementary::Log10, nullptr, 0, 3, 0xDEA01A394606E2AA},
    {"Cosh", elementary::Cosh, nullptr, -750, 750, 0xB276088AEF984854},
    {"ArcTan2", nullptr, elementary::ArcTan2, -10, 10, 0xC354E24E35DD1E7A},
    {"Power", nullptr, elementary::Power, 0, 3, 0x8F25ADD4034D3109},
};

// Arguments of every kind, taken at random. Next uses nothing of the C library
// but what IEEE defines to the last bit.
class CArguments {
 public:
  explicit CArguments(const TElementary& function) : least(function.least), most(function.most) {}
  double Next() {
    const double part = static_cast<double>(random() >> 11) * 0x1p-53;
    const double few = static_cast<double>(1 + random() % 255);
    const int power = static_cast<int>(random() % 60);
    const double sign = random() % 2 != 0 ? 1 : -1;
    switch (kind = random() % 8) {
      case 0:  // few bits, and few more in the last places
        return sign * std::ldexp(few, power - 50) * (1 + static_cast<double>(random() % 32) * 0x1p-52);
      case 1:  // near 1
        return 1 + sign * std::ldexp(few, -53 + power / 2);
      case 2:  // near a multiple of pi/2
        return std::nextafter(std::round(std::ldexp(part, power)) * elementary::kHalfPi.high,
                              sign * std::numeric_limits<double>::infinity());
      case 3:
      case 4:  // every exponent alike
        return std::bit_cast<double>(random());
      default:
        return least + (most - least) * part;
    }
  }
  // The second argument, often such that powers stay finite.
  double Second(double x) {
    const double y = Next();
    return random() % 2 != 0 || kind == 0 ? y : y / (std::fabs(std::log(std::fabs(x))) + 0x1p-60);
  }

 private:
  std::mt19937_64 random;
  double least, most;
  std::uint64_t kind = 0;
};

// Of 10,000 results: FNV-1a, a word at a time.
inline std::uint64_t Digest(const TElementary& function) {
  std::uint64_t hash = 0xCBF29CE484222325;
  CArguments arguments(function);
  for (int i = 0; i < 10'000; ++i) {
    const double x = arguments.Next();
    hash = (hash ^ std::bit_cast<std::uint64_t>(function.Of(x, arguments.Next()))) * 0x100000001B3;
  }
  return hash;
}

}  // namespace tests

#endif
