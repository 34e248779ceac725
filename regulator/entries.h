// What reads the entries of a definition: one template for each kind of value,
// given the field that takes it.
#ifndef LOOPBOX_REGULATOR_ENTRIES_H
#define LOOPBOX_REGULATOR_ENTRIES_H

#include <cstdint>
#include <iterator>
#include <type_traits>

#include "regulator/fields.h"
#include "regulator/output.h"

namespace loopbox {

// "= VALUE;" through a reading service that fills a mark too. A 32-bit integer
// is stored when its ";" has been read, any other value as it is read.
template <auto service, auto member, auto mark>
bool ValueEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
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
constexpr TReadEntry kRealEntry = ValueEntry<&hx_vinst::CInstrument::ReadReal, member, mark>;
template <auto member, auto mark>
constexpr TReadEntry kIntegerEntry = ValueEntry<&hx_vinst::CInstrument::ReadInteger, member, mark>;
template <auto member, auto mark>
constexpr TReadEntry kCardinalEntry = ValueEntry<&hx_vinst::CInstrument::ReadCardinal, member, mark>;
template <auto member, auto mark>
constexpr TReadEntry kBooleanEntry = ValueEntry<&hx_vinst::CInstrument::ReadBoolean, member, mark>;

// "= VALUE;" through a service that reads the whole entry into a field.
template <auto service, auto member>
bool WholeEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  return (regulator.*service)(definition.capacity, definition.message, &Field<member>(regulator, definition.section));
}

// ";": the keyword alone says it.
template <auto member>
bool FlagEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  if (!regulator.ReadSemicolon(definition.capacity, definition.message)) return false;
  Field<member>(regulator) = 1;
  return true;
}

// "= EXPRESSION;", once in a definition.
template <auto member, std::uint32_t type>
bool ExpressionEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  auto& expression = Field<member>(regulator);
  if (expression != nullptr) return definition.Fail(kExpressionRedefined);
  return regulator.ReadEquExpression(definition.capacity, definition.message, &expression, type);
}

// "= ELEMENT;" of exactly that type, into a TOutputElement.
template <auto member, std::uint32_t type>
bool OutputEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  constexpr std::uint32_t kElementWritten = 8;
  TOutputElement& output = Field<member>(regulator);
  return regulator.ReadEquDataElement(definition.capacity, definition.message, &output.id, &output.indexExpr,
                                      std::size(output.name) - 1, output.name, type, kElementWritten);
}

// "= NAME;": the code of one of the names.
bool ReadName(CRegulator& regulator, TRegulatorDefinition& definition, const TNames& names, std::uint32_t* code);

template <const TNames& names, auto member>
bool NameEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  return ReadName(regulator, definition, names, &Field<member>(regulator, definition.section));
}

bool PositionEntry(CRegulator& regulator, TRegulatorDefinition& definition);
template <std::uint32_t section>
bool SectionEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  return regulator.ReadSection(definition, section);
}
bool ColorsEntry(CRegulator& regulator, TRegulatorDefinition& definition);

// --- The keywords that all classes have ---

inline constexpr TKeywordRow kPosition = {Text<8>(hx_keyw::kwPOSITION), PositionEntry};
inline constexpr TKeywordRow kExpression = {Text<10>(gaugekit_::kwEXPRESSION),
                                            ExpressionEntry<&TControlLoop::valueExpr, hx_expr::kReal>};
inline constexpr TKeywordRow kWishValue = {Text<10>(u"wish_value"),
                                           ExpressionEntry<&TControlLoop::wishValueExpr, hx_expr::kReal>};
inline constexpr TKeywordRow kCondition = {Text<9>(u"condition"),
                                           ExpressionEntry<&TControlLoop::conditionExpr, hx_expr::kBoolean>};
inline constexpr TKeywordRow kInverse = {Text<7>(u"inverse"), FlagEntry<&TControlLoop::inverse>};
inline constexpr TKeywordRow kReceivers = {
    Text<9>(gaugekit_::kwRECEIVERS), WholeEntry<&hx_vinst::CInstrument::ReadEquReceivers, &CRegulator::receivers>};
inline constexpr TKeywordRow kShowDescription = {Text<16>(u"show_description"),
                                                 FlagEntry<&TPaneSettings::showDescription>};
inline constexpr TKeywordRow kReadOutputSection = {Text<14>(u"output_section"), SectionEntry<kOutputSection>};
inline constexpr TKeywordRow kReadWishValueSection = {Text<18>(u"wish_value_section"), SectionEntry<kWishValueSection>};
inline constexpr TKeywordRow kReadValueSection = {Text<13>(u"value_section"), SectionEntry<kValueSection>};
inline constexpr TKeywordRow kReadColors = {Text<6>(gaugekit_::kwCOLORS), ColorsEntry};

}  // namespace loopbox

#endif
