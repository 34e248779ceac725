// The meter: what it shows, its history and its procedure.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/gaugekit.h"
#include "runtime/instruments/application_state.h"
#include "runtime/instruments/meters.h"
#include "runtime/instruments/warnings.h"
#include "runtime/platform/buffer_painter.h"
#include "runtime/platform/memory.h"

namespace gaugekit {

namespace {

constexpr std::uint32_t kMaximumPlaces = 15;
constexpr std::uint32_t kSetRange = 3;
constexpr char16_t kSetRangeName[] = u"SetRange__RR";
constexpr char16_t kSetRangeDescription[] = u"SetRange( RangeFrom, RangeTo : real )";

template <std::size_t size>
constexpr std::uint32_t Length(const char16_t (&)[size]) {
  return size - 1;
}

template <std::size_t size>
void Copy(std::uint32_t capacity, char16_t* destination, const char16_t (&text)[size]) {
  runlib::WStrAssign(capacity, destination, Length(text), text);
}

struct TColorEntry {
  std::uint32_t TColors::*word;
  const char16_t* keyword;
  std::uint32_t keywordLength;
  const char16_t* description;
  std::uint32_t descriptionLength;
  std::uint32_t defaultColor;
};

#define COLOR(word, keyword, description, defaultColor)                                     \
  {                                                                                         \
    &TColors::word, gaugekit_::keyword, Length(gaugekit_::keyword), gaugekit_::description, \
        Length(gaugekit_::description), defaultColor                                        \
  }

constexpr TColorEntry kColors[] = {
    COLOR(borderInk, kwBORDER_INK, kwBORDER_INKc, 0x000000),
    COLOR(borderPaper, kwBORDER_PAPER, kwBORDER_PAPERc, 0xBFBFBF),
    COLOR(topShadow, kwTOP_SHADOW, kwTOP_SHADOWc, 0x000000),
    COLOR(bottomShadow, kwBOTTOM_SHADOW, kwBOTTOM_SHADOWc, 0xFFFFFF),
    COLOR(ink, kwINK, kwINKc, 0xFFFFFF),
    COLOR(paper, kwPAPER, kwPAPERc, 0x7F7F7F),
    COLOR(value, kwVALUE, kwVALUEc, 0x00FF00),
    COLOR(lowLimit, kwLOW_LIMIT, kwLOW_LIMITc, 0xFFFF00),
    COLOR(highLimit, kwHIGH_LIMIT, kwHIGH_LIMITc, 0x0000FF),
    COLOR(hGrid, kwH_GRID, kwH_GRIDcc, 0x007F7F),
    COLOR(vGrid, kwV_GRID, kwV_GRIDcc, 0x007F7F),
};

#undef COLOR

// Of a meter without a context: nothing is ever evaluated there.
runtime::TEvaluated nothing;

// Room that a pane needs, in pixels; the first row is that of a number.
constexpr vcom::TPoint kMinimumSize[2][kContentCount] = {{{60, 14}, {70, 15}, {80, 18}},
                                                         {{85, 40}, {100, 60}, {165, 90}}};

}  // namespace

CMeter::CMeter()
    : meterValue(0.0),
      rangeFrom(0.0),
      rangeTo(100.0),
      drawnAsOf(0),
      drawn(0),
      evaluated(&nothing),
      mode(kBar),
      content(kPlain),
      lowLimit(0.0),
      highLimit(100.0),
      realStep(0.0),
      historyBuffer(nullptr),
      history(100),
      decPlaces(1),
      hGrid(0),
      vGrid(0),
      fontHandle(0),
      colors{},
      painter{},
      font{},
      mask{},
      lowLabel{},
      highLabel{},
      expression(nullptr),
      samples(0) {
  kind = view::kMeter;
}

void CMeter::InitInstrument() {
  CInstrument::InitInstrument();
  if (ctx != nullptr) evaluated = &runtime::EvaluatedOf(ctx);
  InitData();
}

void CMeter::InitData() {
  meterValue = 0.0;
  mode = kBar;
  content = kPlain;
  rangeFrom = lowLimit = realStep = 0.0;
  rangeTo = highLimit = 100.0;
  history = 100;
  decPlaces = 1;
  hGrid = vGrid = 0;
  for (std::uint32_t* mark : {&rangeFromMark, &rangeToMark, &lowLimitMark, &highLimitMark, &historyMark, &decPlacesMark,
                              &realStepMark, &hGridMark, &vGridMark, &maskMark}) {
    *mark = hx_vinst::kNoMark;
  }
  for (const TColorEntry& entry : kColors) colors.*entry.word = entry.defaultColor;
  font = vgr::SystemN9;
  fontHandle = 0;
  mask[0] = 0;
  for (CLimitLabel* label : {&lowLabel, &highLabel}) label->Done();
  painter.DeallocateStructure();
  painter.enable = 0;
  if (expression != nullptr) FreeExpression(&expression);
  ResizeBuffer();
}

void CMeter::Done() {
  painter.DeallocateStructure();
  for (CLimitLabel* label : {&lowLabel, &highLabel}) label->Done();
  void* block = historyBuffer;
  runlib::MemDeallocate(&block);
  historyBuffer = nullptr;
  if (expression != nullptr) FreeExpression(&expression);
  CInstrument::Done();
}

// What was before the run stands at the pane's lower end.
void CMeter::ResizeBuffer() {
  const std::size_t count = std::size_t{history} + 1;
  void* block = historyBuffer;
  if (block == nullptr || runtime::SizeOfBlock(block) != count * sizeof(double)) {
    runlib::MemDeallocate(&block);
    runlib::MemAllocate(&block, count * sizeof(double));
  }
  historyBuffer = static_cast<double*>(block);
  if (historyBuffer != nullptr) std::fill_n(historyBuffer, count, rangeFrom);
  drawnAsOf = 0;
  samples = 0;
}

void CMeter::UpdateLabels() {
  if (content != kFull) return;
  std::uint32_t length = 0;
  runlib::RealToWStr(lowLimit, decPlaces, runtime::kTextCapacity, lowLabel.Room(), &length);
  lowLabel.Update();
  runlib::RealToWStr(highLimit, decPlaces, runtime::kTextCapacity, highLabel.Room(), &length);
  highLabel.Update();
}

// The meters that share a parent draw one another's histories.
bool CMeter::IsDrawn() {
  const auto draws = [this](const CBufferPainter& candidate) {
    return candidate.enable && candidate.created &&
           std::any_of(candidate.curves, candidate.curves + candidate.curveCount,
                       [this](const CBufferPainter::TCurve& curve) { return curve.buffer == historyBuffer; });
  };
  if (draws(painter)) return true;
  if (parent == nullptr) return false;
  for (const CMeter& meter : runtime::MetersOf(*parent)) {
    if (draws(meter.painter)) return true;
  }
  return false;
}

void CMeter::SetMeterValue(double newValue) {
  meterValue = newValue;
  // By a pointer of its own: the context's stands in another cache line.
  if (evaluated->instrument != nullptr) {
    if (newValue != evaluated->value) return ShowLimited();
    evaluated->instrument = nullptr;
  }
  if (drawnAsOf != runtime::painterChanges || drawn) KeepHistory(newValue);
}

// The seldom case, and all that is left to do in it, so that the other one needs
// no room on the stack.
[[gnu::noinline]] void CMeter::ShowLimited() {
  runtime::NoteCut(*this);
  evaluated->instrument = nullptr;
  if (drawnAsOf != runtime::painterChanges || drawn) KeepHistory(meterValue);
}

void CMeter::KeepHistory(double newValue) {
  if (drawnAsOf != runtime::painterChanges) {
    drawnAsOf = runtime::painterChanges;
    drawn = historyBuffer != nullptr && IsDrawn();
  }
  if (!drawn) return;
  std::copy(historyBuffer + 1, historyBuffer + history + 1, historyBuffer);
  historyBuffer[history] = newValue;
  ++samples;
}

void CMeter::SetBaseRect(vcom::CRect newRect) {
  const std::uint32_t historyGiven = history;
  history = std::clamp(history, kHistoryMinimum, kHistoryMaximum);
  if (history != historyGiven) {
    runtime::WarnAtMark(ctx, historyMark, "history is 1 to 65536; " + std::to_string(history) + " is taken");
  }
  if (decPlaces > kMaximumPlaces) {
    decPlaces = kMaximumPlaces;
    runtime::WarnAtMark(ctx, decPlacesMark, "dec_places is at most 15; 15 is taken");
  }
  ResizeBuffer();
  UpdateLabels();
  NewRect(newRect);
}

void CMeter::NewRect(vcom::CRect newRect) { CInstrument::NewRect(newRect); }

// The curves take the colours as they are now: its own the value's, another
// meter's the ink, which meters drawn together share.
void CMeter::SettingsChanged() {
  CInstrument::SettingsChanged();
  for (CBufferPainter::TCurve& curve : painter.curves) {
    curve.color = curve.buffer == historyBuffer ? colors.value : colors.ink;
  }
}

std::uint8_t CMeter::GetWinMinMaxSize(vcom::TPoint* minimum, vcom::TPoint* maximum) {
  *minimum = kMinimumSize[mode == kNumber ? 0 : 1][std::clamp<std::uint32_t>(content, kPlain, kFull) - 1];
  *maximum = {0x7FFFFFFF, 0x7FFFFFFF};
  return 1;
}

std::uint8_t CMeter::GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                         std::uint32_t keywordCapacity, char16_t* keyword,
                                         std::uint32_t descriptionCapacity, char16_t* description,
                                         std::uint32_t* defaultColor) {
  if (flag != 0 || index >= std::size(kColors)) return 0;
  const TColorEntry& entry = kColors[index];
  *color = &(colors.*entry.word);
  runlib::WStrAssign(keywordCapacity, keyword, entry.keywordLength, entry.keyword);
  runlib::WStrAssign(descriptionCapacity, description, entry.descriptionLength, entry.description);
  *defaultColor = entry.defaultColor;
  return 1;
}

std::uint8_t CMeter::NeedsTiming() { return expression != nullptr; }

void CMeter::Action(std::uint32_t reason) {
  CInstrument::Action(reason);
  if (expression == nullptr) return;
  hx_expr::TValue result = {};
  EvaluateExpression(expression, hx_expr::kReal, &result);
  SetMeterValue(result.real);
}

std::uint32_t CMeter::GetIdOfName(std::uint32_t length, const char16_t* procedureName, std::uint8_t flag) {
  const std::uint32_t known = CInstrument::GetIdOfName(length, procedureName, flag);
  if (known != hx_vinst::kNoIdentifier) return known;
  return hx_vinst::Match(Length(kSetRangeName), kSetRangeName, length, procedureName) ? kSetRange
                                                                                      : hx_vinst::kNoIdentifier;
}

std::uint8_t CMeter::GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName) {
  if (CInstrument::GetNameOfId(identifier, capacity, procedureName)) return 1;
  if (identifier != kSetRange) return 0;
  Copy(capacity, procedureName, kSetRangeName);
  return 1;
}

std::uint8_t CMeter::GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* description) {
  if (identifier != kSetRange) return 0;
  Copy(capacity, description, kSetRangeDescription);
  return 1;
}

std::uint8_t CMeter::Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                            char16_t* errorText) {
  if ((identifier & hx_vinst::kHostIdentifier) != 0) {
    return CInstrument::Invoke(identifier, arguments, errorCapacity, errorText);
  }
  if (errorText != nullptr) errorText[0] = 0;
  if (toolkit::IdIndex(identifier) != kSetRange || arguments == nullptr || arguments->count != 2) return 0;
  for (std::uint32_t i = 0; i < 2; ++i) {
    const hx_expr::TValue& argument = arguments->items[i];
    if (argument.type != hx_expr::kReal || !std::isfinite(argument.real)) return 0;
  }
  rangeFrom = arguments->items[0].real;
  rangeTo = arguments->items[1].real;
  painter.SetRange(rangeFrom, rangeTo, lowLimit, highLimit);
  return 1;
}

}  // namespace gaugekit
