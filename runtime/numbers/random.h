// Repeatable random numbers, the same with every compiler and library.
#ifndef LOOPBOX_RUNTIME_NUMBERS_RANDOM_H
#define LOOPBOX_RUNTIME_NUMBERS_RANDOM_H

#include <bit>
#include <cmath>
#include <cstdint>

#include "runtime/numbers/elementary_functions.h"

namespace runtime {

// xoshiro256** 1.0 (Blackman and Vigna: Scrambled linear pseudorandom number
// generators, 2021), its state filled by splitmix64.
class CRandom {
 public:
  explicit CRandom(std::uint64_t seed) {
    for (std::uint64_t& word : state) {
      seed += 0x9E3779B97F4A7C15u;
      std::uint64_t mixed = seed;
      mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
      mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
      word = mixed ^ (mixed >> 31);
    }
  }

  std::uint64_t Next() {
    const std::uint64_t result = std::rotl(state[1] * 5, 7) * 9;
    const std::uint64_t shifted = state[1] << 17;
    state[2] ^= state[0];
    state[3] ^= state[1];
    state[1] ^= state[2];
    state[0] ^= state[3];
    state[2] ^= shifted;
    state[3] = std::rotl(state[3], 45);
    return result;
  }

  // 0 <= u < 1, all multiples of 2^-53 equally likely.
  double Uniform() { return static_cast<double>(Next() >> 11) * 0x1p-53; }

  // Mean 0, deviation 1, by the polar method (Marsaglia and Bray, 1964).
  double Normal() {
    if (hasSpare) {
      hasSpare = false;
      return spare;
    }
    for (;;) {
      const double x = 2.0 * Uniform() - 1.0;
      const double y = 2.0 * Uniform() - 1.0;
      const double square = x * x + y * y;
      if (square >= 1.0 || square == 0.0) continue;
      const double factor = std::sqrt(-2.0 * elementary::Ln(square) / square);
      spare = y * factor;
      hasSpare = true;
      return x * factor;
    }
  }

 private:
  std::uint64_t state[4];
  double spare = 0;
  bool hasSpare = false;
};

}  // namespace runtime

#endif
