// The inputs and outputs of a connection, as they stand in its block.
#ifndef LOOPBOX_PLANT_POINT_READING_H
#define LOOPBOX_PLANT_POINT_READING_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "plant/connections.h"
#include "plant/connections_reader.h"
#include "runtime/block.h"

namespace plant {

constexpr char kSeconds[] = "a number of seconds above 0";

struct TReadConnection {
  TConnection connection;
  const TConnections* before;  // in the text
  std::vector<CConnectionsReader::TNeed>* needs;
};

// From behind their keywords to their ends; what they say is added.
void ReadInput(runtime::CBlockText& text, TReadConnection& read);
void ReadOutput(runtime::CBlockText& text, TReadConnection& read);

// TABLE[ADDRESS] of one of the tables; yields where the address stands.
std::uint32_t ExpectPlace(runtime::CBlockText& text, std::initializer_list<ETable> tables, TRegisters* registers);

}  // namespace plant

#endif
