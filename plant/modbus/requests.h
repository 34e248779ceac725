// Points that stand beside one another are read and written by one request.
#ifndef LOOPBOX_PLANT_MODBUS_REQUESTS_H
#define LOOPBOX_PLANT_MODBUS_REQUESTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "plant/connections.h"

namespace plant {

// The most that one request reads or writes: registers, and bits.
inline constexpr int kMostRegistersRead = 125;
inline constexpr int kMostBitsRead = 2000;
inline constexpr int kMostRegistersWritten = 123;
inline constexpr int kMostBitsWritten = 1968;

struct TRequest {
  ETable table = ETable::kHolding;
  int address = 0;
  int count = 0;                    // registers or bits
  std::vector<std::size_t> points;  // indices of those that were asked for, by address
};

bool IsBits(ETable table);
// As texts have it: "holding[10]".
std::string PlaceOf(const TRegisters& point);

// Requests that read all the points, none of them in parts. Where at most `gap`
// registers or bits lie unused between two points, they are read with them.
std::vector<TRequest> ReadRequests(const std::vector<TRegisters>& points, int gap);
// Requests that write all the points and nothing between them. The points don't overlap.
std::vector<TRequest> WriteRequests(const std::vector<TRegisters>& points);

}  // namespace plant

#endif
