// R, the yardstick of the bench: a bare incremental law, its three histories of
// six elements shifted, and a clamp, over 64 states in turn.
#ifndef LOOPBOX_BENCH_BASELINE_H
#define LOOPBOX_BENCH_BASELINE_H

#include <cstddef>

namespace bench {

constexpr std::size_t kStates = 64;  // a power of two

// A batch of R: how many times it is done, and what keeps it from being left
// out.
constexpr std::size_t kBaselineItems = kStates * 1000;
double RunBaseline();

// Inputs that neither repeat soon nor fold: a fraction of 1, from a counter.
inline double Varied(std::size_t counter) { return static_cast<double>((counter * 2654435761u) & 0xFFFF) * 0x1p-16; }

}  // namespace bench

#endif
