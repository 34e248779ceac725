// Life, colours and sizes of a regulator.
#include "regulator/regulator.h"

#include <algorithm>
#include <iterator>

#include "regulator/colors.h"

namespace loopbox {

namespace {

constexpr std::uint32_t kAttributes = 0x0000FF1F;
constexpr std::uint32_t kOptions = 0x110;
constexpr std::int32_t kLargest = 0x7FFFFFFF;

constexpr gaugekit::CMeter* CRegulator::*kMeters[kSectionCount] = {&CRegulator::wishValueMeter, &CRegulator::valueMeter,
                                                                   &CRegulator::outputMeter};
constexpr vcont::CStaticText* CRegulator::*kTexts[kSectionCount] = {&CRegulator::wishValueText, &CRegulator::valueText,
                                                                    &CRegulator::outputText};

// Least size in pixels of a pane by its content, 1 to 3.
constexpr vcom::TPoint kNumberSize[gaugekit::kContentCount] = {{60, 14}, {70, 15}, {80, 18}};
constexpr vcom::TPoint kPictureSize[gaugekit::kContentCount] = {{85, 40}, {100, 60}, {165, 90}};

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
  for (std::uint32_t section = 1; section <= kSectionCount; ++section) {
    sections[section - 1] = TSectionLayout{};
    sections[section - 1].viewPosition = static_cast<std::int32_t>(section);
  }
  for (const std::uint32_t section : kPaneOrder) {
    if (Meter(section) != nullptr) Meter(section)->InitData();
  }
  showDescription = 0;
  for (const std::uint32_t section : kPaneOrder) {
    if (DescriptionText(section) != nullptr) DescriptionText(section)->SetDisable(1);
  }
}

void CRegulator::ForgetExpression(hx_expr::TExprTreeRecord*& expression) {
  if (expression != nullptr) FreeExpression(&expression);
  expression = nullptr;
}

void CRegulator::ForgetElement(std::uint64_t& elementId, hx_expr::TExprTreeRecord*& indexExpression,
                               char16_t (&elementName)[kNameCapacity + 1]) {
  ForgetExpression(indexExpression);
  elementId = hx_vinst::kNoDataElement;
  std::fill(std::begin(elementName), std::end(elementName), u'\0');
}

bool CRegulator::NamesElement(std::uint64_t elementId) {
  return static_cast<std::uint32_t>(elementId) != static_cast<std::uint32_t>(hx_vinst::kNoDataElement);
}

void CRegulator::Reset() {
  ResetSections();
  complete = IsComplete();
  for (auto* expression : {&wishValueExpr, &valueExpr, &conditionExpr}) ForgetExpression(*expression);
  lastOutput = 0.0;
  onOutputId = hx_vinst::kNoIdentifier;
  onOutputChangeId = hx_vinst::kNoIdentifier;
  toolkit::ListDone(&receivers);
  inverse = 0;
}

void CRegulator::Done() {
  ResetSections();
  CInstrument::Done();
  complete = 0;
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
  if (flag != 0 || index >= kColorCount || outputMeter == nullptr) return 0;
  const TColorText& row = kColors[index];
  *color = &(outputMeter->colors.*row.color);
  runlib::WStrAssign(keywordCapacity, keyword, row.keyword.length, row.keyword.text);
  runlib::WStrAssign(descriptionCapacity, description, row.description.length, row.description.text);
  *defaultColor = row.defaultColor;
  return 1;
}

std::uint8_t CRegulator::GetWinMinMaxSize(vcom::TPoint* minimum, vcom::TPoint* maximum) {
  *minimum = {0, 0};
  for (std::uint32_t section = 1; section <= kSectionCount; ++section) {
    const gaugekit::CMeter* meter = Meter(section);
    if (sections[section - 1].ratio == 0 || meter == nullptr) continue;
    if (meter->content < 1 || meter->content > gaugekit::kContentCount) continue;
    const vcom::TPoint* sizes = meter->mode == gaugekit::kNumber ? kNumberSize : kPictureSize;
    minimum->x += sizes[meter->content - 1].x;
    minimum->y = sizes[meter->content - 1].y;
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
