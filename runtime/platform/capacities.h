// The room that the host gives an instrument for its texts, in characters,
// without the closing zero.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_CAPACITIES_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_CAPACITIES_H

#include <cstdint>

namespace runtime {

constexpr std::uint32_t kTextCapacity = 255;    // messages, names, descriptions
constexpr std::uint32_t kTokenCapacity = 1023;  // of a definition

}  // namespace runtime

#endif
