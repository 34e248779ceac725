// The section blocks and the colours block of a definition.
#include <array>
#include <utility>

#include "regulator/colors.h"
#include "regulator/entries.h"
#include "regulator/regulator.h"

namespace loopbox {

namespace {

using gaugekit::CMeter;

constexpr vcom::CRect kBaseRect = {0, 0, 50, 50};

constexpr TNames kModes = {gaugekit::ModeStringArray, gaugekit::ModeCardArray, gaugekit::kModeCount};
constexpr TNames kContents = {gaugekit::ContentStringArray, gaugekit::ContentCardArray, gaugekit::kContentCount};

// A history needs two curves on a common range, which the output has not.
bool ModeEntry(CRegulator& regulator, TDefinition& definition) {
  if (!NameEntry<kModes, &CMeter::mode>(regulator, definition)) return false;
  if (definition.section == kOutputSection && regulator.outputMeter->mode == gaugekit::kHistory) {
    return definition.Fail(kUnknownKeyword);
  }
  return true;
}

bool FontEntry(CRegulator& regulator, TDefinition& definition) {
  CMeter& meter = *regulator.Meter(definition.section);
  return regulator.ReadEquFont(definition.capacity, definition.message, &meter.font, &meter.fontHandle);
}

bool MaskEntry(CRegulator& regulator, TDefinition& definition) {
  CMeter& meter = *regulator.Meter(definition.section);
  return regulator.ReadEqu(definition.capacity, definition.message) &&
         regulator.ReadString(definition.capacity, definition.message, kNameCapacity, meter.mask, &meter.maskMark) &&
         regulator.ReadSemicolon(definition.capacity, definition.message);
}

constexpr TKeyword kSectionKeywords[] = {
    {Text<5>(u"ratio"), kIntegerEntry<&TSectionLayout::ratio, &TSectionLayout::ratioMark>},
    {Text<13>(u"view_position"), kIntegerEntry<&TSectionLayout::viewPosition, &TSectionLayout::viewPositionMark>},
    {Text<4>(gaugekit_::kwMODE), ModeEntry},
    {Text<7>(gaugekit_::kwCONTENT), NameEntry<kContents, &CMeter::content>},
    {Text<10>(gaugekit_::kwRANGE_FROM), kRealEntry<&CMeter::rangeFrom, &CMeter::rangeFromMark>},
    {Text<8>(gaugekit_::kwRANGE_TO), kRealEntry<&CMeter::rangeTo, &CMeter::rangeToMark>},
    {Text<9>(gaugekit_::kwLOW_LIMIT), kRealEntry<&CMeter::lowLimit, &CMeter::lowLimitMark>},
    {Text<10>(gaugekit_::kwHIGH_LIMIT), kRealEntry<&CMeter::highLimit, &CMeter::highLimitMark>},
    {Text<7>(gaugekit_::kwHISTORY), kCardinalEntry<&CMeter::history, &CMeter::historyMark>},
    {Text<10>(gaugekit_::kwDEC_PLACES), kCardinalEntry<&CMeter::decPlaces, &CMeter::decPlacesMark>},
    {Text<9>(gaugekit_::kwREAL_STEP), kRealEntry<&CMeter::realStep, &CMeter::realStepMark>},
    {Text<6>(gaugekit_::kwH_GRID), kCardinalEntry<&CMeter::hGrid, &CMeter::hGridMark>},
    {Text<6>(gaugekit_::kwV_GRID), kCardinalEntry<&CMeter::vGrid, &CMeter::vGridMark>},
    {Text<4>(gaugekit_::kwFONT), FontEntry},
    {Text<4>(gaugekit_::kwMASK), MaskEntry},
    // Any of the three closes any section.
    {Text<18>(u"end_output_section"), nullptr},
    {Text<22>(u"end_wish_value_section"), nullptr},
    {Text<17>(u"end_value_section"), nullptr},
};

constexpr TBlock kSectionBlock = {kSectionKeywords, kUnknownIdentifier};

template <std::size_t... index>
constexpr std::array<TKeyword, kColorCount + 1> ColorKeywords(std::index_sequence<index...>) {
  return {{{Text<10>(gaugekit_::kwEND_COLORS), nullptr},
           {kColors[index].keyword, WholeEntry<&hx_vinst::CInstrument::ReadEquColor, kColors[index].color>}...}};
}

constexpr std::array kColorKeywords = ColorKeywords(std::make_index_sequence<kColorCount>());

constexpr TBlock kColorsBlock = {kColorKeywords, kUnknownKeyword};

}  // namespace

bool CRegulator::ReadSection(TDefinition& definition, std::uint32_t section) {
  definition.section = section;
  const bool read = ReadEntries(definition, kSectionBlock, false);
  definition.section = 0;
  if (read) Meter(section)->SetBaseRect(kBaseRect);
  return read;
}

bool CRegulator::ReadColors(TDefinition& definition) {
  if (!ReadEntries(definition, kColorsBlock, false)) return false;
  ShareColors(false);
  return true;
}

}  // namespace loopbox
