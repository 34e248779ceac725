// Fields named by member pointers in the tables of keywords and procedures.
#ifndef LOOPBOX_REGULATOR_FIELDS_H
#define LOOPBOX_REGULATOR_FIELDS_H

#include <cstdint>
#include <type_traits>

#include "regulator/regulator.h"

namespace loopbox {

// The part of a regulator in which fields of a type stand: the regulator itself
// unless said otherwise.
template <typename TOwner>
struct TPart {
  static_assert(std::is_base_of_v<CRegulator, TOwner>);
  static TOwner& Of(CRegulator& regulator, std::uint32_t) { return static_cast<TOwner&>(regulator); }
};

template <>
struct TPart<gaugekit::CMeter> {
  static gaugekit::CMeter& Of(CRegulator& regulator, std::uint32_t section) { return *regulator.Meter(section); }
};

template <>
struct TPart<TSectionLayout> {
  static TSectionLayout& Of(CRegulator& regulator, std::uint32_t section) { return regulator.sections[section - 1]; }
};

template <>
struct TPart<gaugekit::TColors> {
  static gaugekit::TColors& Of(CRegulator& regulator, std::uint32_t) { return regulator.outputMeter->colors; }
};

template <typename TOwner, typename TField>
TOwner* OwnerOf(TField TOwner::*);

template <auto member>
auto& Field(CRegulator& regulator, std::uint32_t section = 0) {
  using TOwner = std::remove_pointer_t<decltype(OwnerOf(member))>;
  return TPart<TOwner>::Of(regulator, section).*member;
}

}  // namespace loopbox

#endif
