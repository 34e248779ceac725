// The room that the host gives an instrument for its texts, in characters,
// without the closing zero.
#ifndef LOOPBOX_RUNTIME_PLATFORM_CAPACITIES_H
#define LOOPBOX_RUNTIME_PLATFORM_CAPACITIES_H

#include <cstdint>

namespace runtime {

constexpr std::uint32_t kNameCapacity = 63;     // of an instrument, of an element
constexpr std::uint32_t kTextCapacity = 255;    // messages, keywords, descriptions, labels
constexpr std::uint32_t kTokenCapacity = 1023;  // of a definition

}  // namespace runtime

#endif
