// Life, colours and sizes of a regulator.
#include "regulator/regulator.h"

#include <algorithm>
#include <iterator>

namespace loopbox {

namespace {

constexpr std::uint32_t kAttributes = 0x0000FF1F;
constexpr std::uint32_t kOptions = 0x110;
constexpr std::int32_t kLargest = 0x7FFFFFFF;

// Both: index section number - 1.
constexpr gaugekit::CMeter* CRegulator::*kMeters[] = {&CRegulator::wishValueMeter, &CRegulator::valueMeter,
                                                      &CRegulator::outputMeter};
constexpr vcont::CStaticText* CRegulator::*kTexts[] = {&CRegulator::wishValueText, &CRegulator::valueText,
                                                       &CRegulator::outputText};
static_assert(std::size(kMeters) == kSectionCount && std::size(kTexts) == kSectionCount);

}  // namespace

CRegulator::CRegulator(const TRegulatorTables& classTables) : tables(classTables) {
  winWidth = 100;
  winHeight = 80;
  attributeWord = kAttributes;
  optionWord |= kOptions;
  toolkit::ListInit(&receivers);
}

gaugekit::CMeter*& CRegulator::Meter(std::uint32_t section) { return this->*kMeters[section - 1]; }

vcont::CStaticText*& CRegulator::DescriptionText(std::uint32_t section) { return this->*kTexts[section - 1]; }

bool CRegulator::IsComplete() const {
  return wishValueMeter != nullptr && valueMeter != nullptr && outputMeter != nullptr;
}

void CRegulator::ResetSections() {
  panes = {};
  for (const std::uint32_t section : kPaneOrder) {
    if (Meter(section) != nullptr) Meter(section)->InitData();
  }
  for (const std::uint32_t section : kPaneOrder) {
    if (DescriptionText(section) != nullptr) DescriptionText(section)->SetDisable(1);
  }
}

bool CRegulator::HasOutput() const { return outputElement.Given(); }

void CRegulator::Reset() {
  ResetSections();
  for (auto* expression : {&loop.wishValueExpr, &loop.valueExpr, &loop.conditionExpr}) ForgetExpression(*expression);
  loop = {};
  loop.complete = IsComplete();
  outputElement.Forget(*this);
  toolkit::ListDone(&receivers);
}

void CRegulator::Done() {
  ResetSections();
  CInstrument::Done();
  loop.complete = 0;
  for (const std::uint32_t section : kPaneOrder) {
    Meter(section) = nullptr;
    DescriptionText(section) = nullptr;
  }
}

void CRegulator::ShareColors(bool withVerticalGrid) {
  if (outputMeter == nullptr) return;
  const gaugekit::TColors& colors = outputMeter->colors;
  for (gaugekit::CMeter* meter : {wishValueMeter, valueMeter}) {
    if (meter == nullptr) continue;
    gaugekit::TColors shared = colors;
    shared.hGrid = meter->colors.hGrid;
    if (!withVerticalGrid) shared.vGrid = meter->colors.vGrid;
    meter->colors = shared;
  }
  for (const std::uint32_t section : kPaneOrder) {
    vcont::CStaticText* text = DescriptionText(section);
    if (text == nullptr || text->gContext == nullptr) continue;
    text->gContext->ink = colors.ink;
    text->gContext->paper = colors.paper;
  }
}

void CRegulator::SettingsChanged() {
  ShareColors(true);
  for (const std::uint32_t section : kPaneOrder) {
    if (Meter(section) != nullptr) Meter(section)->SettingsChanged();
  }
}

std::uint8_t CRegulator::GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                             std::uint32_t keywordCapacity, char16_t* keyword,
                                             std::uint32_t descriptionCapacity, char16_t* description,
                                             std::uint32_t* defaultColor) {
  return outputMeter != nullptr && outputMeter->GetColorDescription(index, flag, color, keywordCapacity, keyword,
                                                                    descriptionCapacity, description, defaultColor);
}

std::uint8_t CRegulator::GetWinMinMaxSize(vcom::TPoint* minimum, vcom::TPoint* maximum) {
  *minimum = {0, 0};
  for (std::uint32_t section = 1; section <= kSectionCount; ++section) {
    gaugekit::CMeter* meter = Meter(section);
    if (panes.sections[section - 1].ratio == 0 || meter == nullptr) continue;
    if (meter->content < 1 || meter->content > gaugekit::kContentCount) continue;
    vcom::TPoint least;
    vcom::TPoint largest;
    meter->GetWinMinMaxSize(&least, &largest);
    minimum->x += least.x;
    minimum->y = least.y;
  }
  *maximum = {kLargest, kLargest};
  return 1;
}

std::uint8_t CRegulator::GetVarDescription(std::uint32_t, std::uint32_t, char16_t*, std::uint32_t, char16_t*) {
  return 0;
}

void CRegulator::ReportError(TText message) {
  hx_main::RunTimeError(kNameCapacity, name, message.length, message.text, ctx, 0);
}

}  // namespace loopbox
