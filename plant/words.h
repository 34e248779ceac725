// The words of a `connections` block, by which messages name things too.
#ifndef LOOPBOX_PLANT_WORDS_H
#define LOOPBOX_PLANT_WORDS_H

#include <string>
#include <string_view>
#include <vector>

#include "plant/connections.h"
#include "runtime/runtime.h"

namespace plant {

constexpr std::string_view kTableWords[] = {"coil", "discrete", "input", "holding"};
constexpr std::string_view kTypeWords[] = {"bit", "int16", "uint16", "int32", "uint32", "int64", "float", "double"};
constexpr std::string_view kOrderWords[] = {"abcd", "cdab", "badc", "dcba"};

constexpr bool HoldsBits(ETable table) { return table == ETable::kCoil || table == ETable::kDiscrete; }

// Of six significant digits at most.
std::string Number(double value);
std::string NameOf(const runtime::CApplication& application, runtime::TItem item);  // NAME or NAME[INDEX]
std::string NameOf(const TRegisters& registers);                                    // "holding[10]"
std::string NameOf(const TConnection& connection, const TPoint& point);             // the same, or the topic in quotes
// What a connection leads to: "127.0.0.1:1502, unit 1".
std::string AddressOf(const TConnection& connection);

// Each connection with its inputs and outputs in words, a line each; those of inputs
// and outputs are indented.
std::vector<std::string> Listed(const TConnections& connections, double period);

}  // namespace plant

#endif
