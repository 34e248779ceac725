// Fields named by member pointers in the tables of keywords and procedures.
#ifndef LOOPBOX_REGULATOR_FIELDS_H
#define LOOPBOX_REGULATOR_FIELDS_H

#include <cstdint>
#include <type_traits>

#include "regulator/regulator.h"

namespace loopbox {

// Says in which part of a regulator the fields of a type stand. Unless there is a
// specialisation for the type, they are the regulator's own.
template <typename TOwner>
struct TFieldPart {
  static_assert(std::is_base_of_v<CRegulator, TOwner>);
  static TOwner& Of(CRegulator& regulator, std::uint32_t) { return static_cast<TOwner&>(regulator); }
};

template <>
struct TFieldPart<gaugekit::CMeter> {
  static gaugekit::CMeter& Of(CRegulator& regulator, std::uint32_t section) { return *regulator.Meter(section); }
};

template <>
struct TFieldPart<TSectionLayout> {
  static TSectionLayout& Of(CRegulator& regulator, std::uint32_t section) {
    return regulator.panes.sections[section - 1];
  }
};

template <>
struct TFieldPart<gaugekit::TColors> {
  static gaugekit::TColors& Of(CRegulator& regulator, std::uint32_t) { return regulator.outputMeter->colors; }
};

template <typename TOwner, typename TField>
TOwner* OwnerOf(TField TOwner::*);

// For a part that is a member of the regulator, or to which a member points.
template <auto member>
struct TMemberPart {
  static auto& Of(CRegulator& regulator, std::uint32_t) {
    auto& part = static_cast<std::remove_pointer_t<decltype(OwnerOf(member))>&>(regulator).*member;
    if constexpr (std::is_pointer_v<std::remove_reference_t<decltype(part)>>) {
      return *part;
    } else {
      return part;
    }
  }
};

template <>
struct TFieldPart<TPaneSettings> : TMemberPart<&CRegulator::panes> {};

template <>
struct TFieldPart<TControlLoop> : TMemberPart<&CRegulator::loop> {};

template <auto member>
auto& Field(CRegulator& regulator, std::uint32_t section = 0) {
  using TOwner = std::remove_pointer_t<decltype(OwnerOf(member))>;
  return TFieldPart<TOwner>::Of(regulator, section).*member;
}

}  // namespace loopbox

#endif
