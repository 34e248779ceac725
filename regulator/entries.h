// What reads the entries of a definition: one template for each kind of value,
// given the field that takes it.
#ifndef LOOPBOX_REGULATOR_ENTRIES_H
#define LOOPBOX_REGULATOR_ENTRIES_H

#include <cstdint>
#include <type_traits>

#include "regulator/fields.h"

namespace loopbox {

// "= VALUE;" through a reading service that fills a mark too. A 32-bit integer
// is stored when its ";" has been read, any other value as it is read.
template <auto service, auto member, auto mark>
bool ValueEntry(CRegulator& regulator, TDefinition& definition) {
  auto& field = Field<member>(regulator, definition.section);
  using TField = std::remove_reference_t<decltype(field)>;
  constexpr bool kLate = std::is_integral_v<TField> && sizeof(TField) == sizeof(std::uint32_t);
  TField value = field;
  TField& target = kLate ? value : field;
  if (!regulator.ReadEqu(definition.capacity, definition.message) ||
      !(regulator.*service)(definition.capacity, definition.message, &target,
                            &Field<mark>(regulator, definition.section)) ||
      !regulator.ReadSemicolon(definition.capacity, definition.message)) {
    return false;
  }
  field = target;
  return true;
}

template <auto member, auto mark>
constexpr TEntryReader kRealEntry = ValueEntry<&hx_vinst::CInstrument::ReadReal, member, mark>;
template <auto member, auto mark>
constexpr TEntryReader kIntegerEntry = ValueEntry<&hx_vinst::CInstrument::ReadInteger, member, mark>;
template <auto member, auto mark>
constexpr TEntryReader kCardinalEntry = ValueEntry<&hx_vinst::CInstrument::ReadCardinal, member, mark>;
template <auto member, auto mark>
constexpr TEntryReader kBooleanEntry = ValueEntry<&hx_vinst::CInstrument::ReadBoolean, member, mark>;

// "= VALUE;" through a service that reads the whole entry into a field.
template <auto service, auto member>
bool WholeEntry(CRegulator& regulator, TDefinition& definition) {
  return (regulator.*service)(definition.capacity, definition.message, &Field<member>(regulator, definition.section));
}

// ";": the keyword alone says it.
template <auto member>
bool FlagEntry(CRegulator& regulator, TDefinition& definition) {
  if (!regulator.ReadSemicolon(definition.capacity, definition.message)) return false;
  Field<member>(regulator) = 1;
  return true;
}

// "= EXPRESSION;", once in a definition.
template <auto member, std::uint32_t type>
bool ExpressionEntry(CRegulator& regulator, TDefinition& definition) {
  auto& expression = Field<member>(regulator);
  if (expression != nullptr) return definition.Fail(kExpressionRedefined);
  return regulator.ReadEquExpression(definition.capacity, definition.message, &expression, type);
}

// "= ELEMENT;" of exactly that type.
template <auto id, auto indexExpression, auto name, std::uint32_t type>
bool ElementEntry(CRegulator& regulator, TDefinition& definition) {
  constexpr std::uint32_t kElementWritten = 8;
  return regulator.ReadEquDataElement(definition.capacity, definition.message, &Field<id>(regulator),
                                      &Field<indexExpression>(regulator), kNameCapacity, Field<name>(regulator), type,
                                      kElementWritten);
}

// "= NAME;": the code of one of the names.
bool ReadName(CRegulator& regulator, TDefinition& definition, const TNames& names, std::uint32_t* code);

template <const TNames& names, auto member>
bool NameEntry(CRegulator& regulator, TDefinition& definition) {
  return ReadName(regulator, definition, names, &Field<member>(regulator, definition.section));
}

bool PositionEntry(CRegulator& regulator, TDefinition& definition);
template <std::uint32_t section>
bool SectionEntry(CRegulator& regulator, TDefinition& definition) {
  return regulator.ReadSection(definition, section);
}
bool ColorsEntry(CRegulator& regulator, TDefinition& definition);

// --- The keywords that all classes have ---

inline constexpr TKeyword kPosition = {Text<8>(hx_keyw::kwPOSITION), PositionEntry};
inline constexpr TKeyword kExpression = {Text<10>(gaugekit_::kwEXPRESSION),
                                         ExpressionEntry<&CRegulator::valueExpr, hx_expr::kReal>};
inline constexpr TKeyword kWishValue = {Text<10>(u"wish_value"),
                                        ExpressionEntry<&CRegulator::wishValueExpr, hx_expr::kReal>};
inline constexpr TKeyword kCondition = {Text<9>(u"condition"),
                                        ExpressionEntry<&CRegulator::conditionExpr, hx_expr::kBoolean>};
inline constexpr TKeyword kInverse = {Text<7>(u"inverse"), FlagEntry<&CRegulator::inverse>};
inline constexpr TKeyword kReceivers = {Text<9>(gaugekit_::kwRECEIVERS),
                                        WholeEntry<&hx_vinst::CInstrument::ReadEquReceivers, &CRegulator::receivers>};
inline constexpr TKeyword kShowDescription = {Text<16>(u"show_description"), FlagEntry<&CRegulator::showDescription>};
inline constexpr TKeyword kReadOutputSection = {Text<14>(u"output_section"), SectionEntry<kOutputSection>};
inline constexpr TKeyword kReadWishValueSection = {Text<18>(u"wish_value_section"), SectionEntry<kWishValueSection>};
inline constexpr TKeyword kReadValueSection = {Text<13>(u"value_section"), SectionEntry<kValueSection>};
inline constexpr TKeyword kReadColors = {Text<6>(gaugekit_::kwCOLORS), ColorsEntry};

}  // namespace loopbox

#endif
