// How a class's procedures and events are described: one table drives their
// resolution, listing, descriptions and calls.
#ifndef LOOPBOX_REGULATOR_PROCEDURE_H
#define LOOPBOX_REGULATOR_PROCEDURE_H

#include <cstdint>
#include <span>

#include "host/hx_main.h"
#include "regulator/definition.h"
#include "regulator/text.h"

namespace loopbox {

class CRegulator;

// One call of a procedure. There are at least as many arguments as the name
// has letters.
struct TCall {
  hx_expr::TValueArray* arguments;
  std::uint32_t errorCapacity;
  char16_t* errorText;

  const hx_expr::TValue& Argument(std::uint32_t index) const { return arguments->items[index]; }

  // Leaves the text in the caller's buffer; always false.
  bool Refuse(TText text) const;
  // The argument as a real; refuses one that is no number.
  bool TakeReal(std::uint32_t index, double* real) const;
  // Refuses one that is not finite as well.
  bool TakeFinite(std::uint32_t index, double* real) const;
  bool TakeBoolean(std::uint32_t index, std::uint8_t* boolean) const;
  void GiveReal(std::uint32_t index, double real) const;
  void GiveBoolean(std::uint32_t index, bool boolean) const;
};

struct TProcedure {
  std::uint32_t id;
  TText name;                                     // the procedure, "__" and a letter for each parameter
  TText description;                              // kNoText: can be called, but is not listed
  bool (*resolves)(const CRegulator& regulator);  // at the moment of asking; null: always
  bool (*run)(CRegulator& regulator, const TCall& call);
};

// An event procedure that the application may define.
struct TEventText {
  TText name;
  TText description;
};

enum TEventIndex : std::uint32_t { kOnOutput, kOnOutputChange, kEventCount };

// What distinguishes a class to the code that all three share.
struct TRegulatorTables {
  TBlock definition;                       // the top level
  std::span<const TProcedure> procedures;  // in the order of comparison
  TEventText events[kEventCount];
};

}  // namespace loopbox

#endif
