// How good a value of the plant is.
#ifndef LOOPBOX_PLANT_QUALITY_H
#define LOOPBOX_PLANT_QUALITY_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace plant {

enum class EQuality : std::uint8_t { kGood, kStale, kLost, kOutOfRange, kNotFinite };

// As traces and messages have it: "good", "stale", "lost", "out of range", "not finite".
const char* NameOf(EQuality quality);
// Of such a name; none for any other.
std::optional<EQuality> QualityNamed(std::string_view name);

}  // namespace plant

#endif
