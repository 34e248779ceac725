// Numbers in registers of 16 bits.
#ifndef LOOPBOX_PLANT_MODBUS_PACKING_H
#define LOOPBOX_PLANT_MODBUS_PACKING_H

#include <array>
#include <cstdint>

#include "plant/connections.h"

namespace plant {

// As they stand in the device, at the point's address and after it.
using TWords = std::array<std::uint16_t, 4>;

// How many words a number takes; of a bit one.
int WordsOf(EType type);

// The number of these words, WordsOf(type) of them.
double Unpacked(const std::uint16_t* words, EType type, EOrder order);

// The words of a number that isn't NaN; those past WordsOf(type) are 0. An integer is
// the nearest one. What is out of the type's range is brought to its end, and
// `wasLimited` set.
TWords Packed(double number, EType type, EOrder order, bool* wasLimited);

}  // namespace plant

#endif
