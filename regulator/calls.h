// What procedures do with plain fields: one template for each kind of field.
#ifndef LOOPBOX_REGULATOR_CALLS_H
#define LOOPBOX_REGULATOR_CALLS_H

#include <cstdint>

#include "regulator/fields.h"

namespace loopbox {

// When one of the arguments is no finite number, none is taken.
template <auto... members>
bool SetReals(CRegulator& regulator, const TProcedureCall& call) {
  double reals[sizeof...(members)];
  for (std::uint32_t i = 0; i < sizeof...(members); ++i) {
    if (!call.TakeFinite(i, &reals[i])) return false;
  }
  std::uint32_t index = 0;
  ((Field<members>(regulator) = reals[index++]), ...);
  return true;
}

template <auto... members>
bool GetReals(CRegulator& regulator, const TProcedureCall& call) {
  std::uint32_t index = 0;
  (call.GiveReal(index++, static_cast<double>(Field<members>(regulator))), ...);
  return true;
}

template <auto member>
bool SetBoolean(CRegulator& regulator, const TProcedureCall& call) {
  return call.TakeBoolean(0, &Field<member>(regulator));
}

template <auto member>
bool GetBoolean(CRegulator& regulator, const TProcedureCall& call) {
  call.GiveBoolean(0, Field<member>(regulator) != 0);
  return true;
}

}  // namespace loopbox

#endif
