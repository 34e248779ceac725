// How good a value of the plant is.
#ifndef LOOPBOX_PLANT_QUALITY_H
#define LOOPBOX_PLANT_QUALITY_H

#include <cstdint>

namespace plant {

enum class EQuality : std::uint8_t { kGood, kStale, kLost, kOutOfRange, kNotFinite };

// As traces and messages have it: "good", "stale", "lost", "out of range", "not finite".
const char* NameOf(EQuality quality);

}  // namespace plant

#endif
