// The section blocks and the colours block of a definition.
#include "regulator/entries.h"
#include "regulator/regulator.h"

namespace loopbox {

namespace {

using gaugekit::CMeter;
using gaugekit::TColors;

constexpr vcom::CRect kBaseRect = {0, 0, 50, 50};

constexpr TNames kModes = {gaugekit::ModeStringArray, gaugekit::ModeCardArray};
constexpr TNames kContents = {gaugekit::ContentStringArray, gaugekit::ContentCardArray};

// A history needs two curves on a common range, which the output has not.
bool ModeEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  if (!NameEntry<kModes, &CMeter::mode>(regulator, definition)) return false;
  if (definition.section == kOutputSection && regulator.outputMeter->mode == gaugekit::kHistory) {
    return definition.Fail(kUnknownKeyword);
  }
  return true;
}

bool FontEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  CMeter& meter = *regulator.Meter(definition.section);
  return regulator.ReadEquFont(definition.capacity, definition.message, &meter.font, &meter.fontHandle);
}

bool MaskEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  CMeter& meter = *regulator.Meter(definition.section);
  return regulator.ReadEqu(definition.capacity, definition.message) &&
         regulator.ReadString(definition.capacity, definition.message, kNameCapacity, meter.mask, &meter.maskMark) &&
         regulator.ReadSemicolon(definition.capacity, definition.message);
}

constexpr TKeywordRow kSectionKeywords[] = {
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

constexpr TKeywordBlock kSectionBlock = {kSectionKeywords, kUnknownIdentifier};

template <auto member>
constexpr TReadEntry kColorEntry = WholeEntry<&hx_vinst::CInstrument::ReadEquColor, member>;

// The instrument's colours are those of its output meter.
constexpr TKeywordRow kColorKeywords[] = {
    {Text<10>(gaugekit_::kwEND_COLORS), nullptr},
    {Text<10>(gaugekit_::kwBORDER_INK), kColorEntry<&TColors::borderInk>},
    {Text<12>(gaugekit_::kwBORDER_PAPER), kColorEntry<&TColors::borderPaper>},
    {Text<10>(gaugekit_::kwTOP_SHADOW), kColorEntry<&TColors::topShadow>},
    {Text<13>(gaugekit_::kwBOTTOM_SHADOW), kColorEntry<&TColors::bottomShadow>},
    {Text<3>(gaugekit_::kwINK), kColorEntry<&TColors::ink>},
    {Text<5>(gaugekit_::kwPAPER), kColorEntry<&TColors::paper>},
    {Text<5>(gaugekit_::kwVALUE), kColorEntry<&TColors::value>},
    {Text<9>(gaugekit_::kwLOW_LIMIT), kColorEntry<&TColors::lowLimit>},
    {Text<10>(gaugekit_::kwHIGH_LIMIT), kColorEntry<&TColors::highLimit>},
    {Text<6>(gaugekit_::kwH_GRID), kColorEntry<&TColors::hGrid>},
    {Text<6>(gaugekit_::kwV_GRID), kColorEntry<&TColors::vGrid>},
};

constexpr TKeywordBlock kColorsBlock = {kColorKeywords, kUnknownKeyword};

}  // namespace

bool CRegulator::ReadSection(TRegulatorDefinition& definition, std::uint32_t section) {
  definition.section = section;
  const bool read = ReadEntries(definition, kSectionBlock, false);
  definition.section = 0;
  if (read) Meter(section)->SetBaseRect(kBaseRect);
  return read;
}

bool CRegulator::ReadColors(TRegulatorDefinition& definition) {
  if (!ReadEntries(definition, kColorsBlock, false)) return false;
  ShareColors(false);
  return true;
}

}  // namespace loopbox
