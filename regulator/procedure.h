// How a class's procedures and events are described: one table drives their
// resolution, listing, descriptions and calls.
#ifndef LOOPBOX_REGULATOR_PROCEDURE_H
#define LOOPBOX_REGULATOR_PROCEDURE_H

#include <cstdint>
#include <span>
#include <string_view>

#include "host/hx_main.h"
#include "regulator/definition.h"
#include "regulator/text.h"

namespace loopbox {

class CRegulator;

// A procedure's name is followed by "__" and a letter for each parameter.
constexpr std::uint32_t ParameterCount(TText procedureName) {
  const std::u16string_view name(procedureName.text, procedureName.length);
  return static_cast<std::uint32_t>(name.size() - (name.rfind(u"__") + 2));
}

// One call of a procedure. There are at least as many arguments as the name
// has letters.
struct TProcedureCall {
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

struct TProcedureRow {
  std::uint32_t id;
  TText name;
  TText description;                              // kNoText: can be called, but is not listed
  bool (*resolves)(const CRegulator& regulator);  // at the moment of asking; null: always
  bool (*run)(CRegulator& regulator, const TProcedureCall& call);
};

// An event procedure that the application may define.
struct TEventText {
  TText name;
  TText description;
};

enum EEvent : std::uint32_t { kOnOutput, kOnOutputChange, kEventCount };

// The room for the arguments of an event procedure.
constexpr std::uint32_t kMaximumEventArguments = 2;
using TEventArguments = hx_expr::TValue[kMaximumEventArguments];

struct TEvents {
  TEventText texts[kEventCount];
  std::uint32_t argumentCount;  // of each of them
};

// When a name has more letters than there is room for arguments, or the two have
// different numbers of letters, the table does not compile.
constexpr TEvents Events(TEventText onOutput, TEventText onOutputChange) {
  const std::uint32_t count = ParameterCount(onOutput.name);
  if (count > kMaximumEventArguments) throw "no room for so many arguments";
  if (count != ParameterCount(onOutputChange.name)) throw "the two events differ in their arguments";
  return {{onOutput, onOutputChange}, count};
}

// What distinguishes a class, for the code that all classes share.
struct TRegulatorTables {
  TKeywordBlock definition;                   // the top level
  std::span<const TProcedureRow> procedures;  // in the order of comparison
  TEvents events;
};

}  // namespace loopbox

#endif
