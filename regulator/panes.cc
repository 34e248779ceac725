// The three panes: making them, laying them out, and tying the histories of the
// wish value and the value together.
#include <algorithm>
#include <cstddef>
#include <iterator>

#include "regulator/allocation.h"
#include "regulator/conversion.h"
#include "regulator/regulator.h"

namespace loopbox {

namespace {

constexpr TText kMeterClass = Text<5>(u"meter");
constexpr TText kMessageGroup = Text<10>(u"regulators");

struct TDescription {
  TText key;
  TText defaultText;
};

// Index: section number - 1.
constexpr TDescription kDescriptions[] = {
    {Text<27>(u"_DescriptionOfWishValuePane"), Text<14>(u"Žádaná hodnota")},
    {Text<28>(u"_DescriptionOfInputValuePane"), Text<19>(u"Regulovaná veličina")},
    {Text<29>(u"_DescriptionOfOutputValuePane"), Text<11>(u"Akční zásah")},
};
static_assert(std::size(kDescriptions) == kSectionCount);

constexpr std::uint32_t kTextCapacity = 255;
constexpr std::uint32_t kMeasuredMaximum = 511;
constexpr std::uint32_t kContextNumber = 16;
constexpr std::uint8_t kTransparent = 1;
constexpr std::uint32_t kCentred = 0x8;

// Pixels.
constexpr std::int64_t kMargin = 30;   // of a description, on each side
constexpr std::int64_t kReserve = 70;  // of a pane's width that a description leaves free
constexpr std::int32_t kTextTop = 1;
constexpr std::int32_t kHiddenWidth = 1;  // when the third pane is no wider, it is hidden

gaugekit::CMeter* MakeMeter(hx_main::TContext* ctx) {
  const std::uint32_t handle = hx_main::PInstrumentManager->GetClassHandle(kMeterClass.length, kMeterClass.text);
  std::uint32_t word = 0;
  return static_cast<gaugekit::CMeter*>(hx_main::PInstrumentManager->MakeInstrument(handle, ctx, &word));
}

// A text's own graphic context, made after its instrument's.
vgr::TGContext* MakeContext(const vgr::TGContext& model) {
  auto* context = Make<vgr::TGContext>(model);
  if (context == nullptr) return nullptr;
  context->mode = kTransparent;
  context->font = &vgr::SystemN9;
  return context;
}

void SetLabel(gaugekit::CLimitLabel& label, double limit, std::uint32_t decPlaces) {
  std::uint32_t length = 0;
  runlib::RealToWStr(limit, decPlaces, kTextCapacity, label.Room(), &length);
  label.Update();
}

}  // namespace

void CRegulator::InitInstrument() {
  for (const std::uint32_t section : kPaneOrder) Meter(section) = MakeMeter(ctx);
  for (const std::uint32_t section : kPaneOrder) {
    if (Meter(section) != nullptr) Register(Meter(section));
  }
  for (const std::uint32_t section : kPaneOrder) DescriptionText(section) = Make<vcont::CStaticText>();

  vcom::CRect textRect;
  toolkit::RectSet(&textRect, 0, 0, 100, 0);
  toolkit::MsgScannerSetGroup(hx_main::RunMsgScanner, kMessageGroup.length, kMessageGroup.text);
  for (const std::uint32_t section : kPaneOrder) {
    vcont::CStaticText* text = DescriptionText(section);
    if (text == nullptr) continue;
    const auto& [key, defaultText] = kDescriptions[section - 1];
    text->gContext = MakeContext(*GetPGContext(kContextNumber));
    text->viewOptions |= kCentred;
    text->Init(textRect, kTextCapacity,
               hx_main::RunMsgScanner->GetKeyPMsg(key.length, key.text, defaultText.length, defaultText.text));
    RegisterFirst(text);
  }
  Reset();
}

void CRegulator::PlacePane(std::uint32_t section, const vcom::CRect& pane, bool shown) {
  gaugekit::CMeter* meter = Meter(section);
  if (meter != nullptr) {
    meter->NewRect(pane);
    meter->SetDisable(shown ? 0 : 1);
  }
  vcont::CStaticText* text = DescriptionText(section);
  if (!shown || !panes.showDescription || text == nullptr || text->text == nullptr) return;
  text->SetDisable(0);
  const std::int64_t paneWidth = pane.width;
  const std::int64_t textWidth = vgr::GetTextW(&vgr::SystemN9, kMeasuredMaximum, text->text);
  const std::int64_t width = std::min(textWidth, paneWidth - kReserve);
  const std::int64_t x = std::int64_t{pane.x} + kMargin + (paneWidth - width - 2 * kMargin) / 2;
  vcom::CRect textRect;
  toolkit::RectSet(&textRect, Narrow(x), kTextTop, Narrow(width), text->height);
  text->NewRect(textRect);
}

void CRegulator::NewRect(vcom::CRect newRect) {
  CInstrument::NewRect(newRect);

  TSectionLayout(&sections)[kSectionCount] = panes.sections;
  std::int64_t sum = 0;
  for (const TSectionLayout& section : sections) sum += section.ratio;
  if (sum == 0) {
    sections[kWishValueSection - 1].ratio = 0;
    sections[kValueSection - 1].ratio = 0;
    sections[kOutputSection - 1].ratio = 1;
    sum = 1;
  }

  std::uint32_t order[kSectionCount];
  std::copy(std::begin(kPaneOrder), std::end(kPaneOrder), order);
  // Three elements: an insertion keeps equal positions in their order.
  for (std::size_t last = 1; last < kSectionCount; ++last) {
    for (std::size_t i = last; i > 0 && sections[order[i] - 1].viewPosition < sections[order[i - 1] - 1].viewPosition;
         --i) {
      std::swap(order[i], order[i - 1]);
    }
  }

  // The widths may leave 32 bits when ratios are negative.
  std::int64_t x = 0;
  for (std::size_t i = 0; i < kSectionCount; ++i) {
    const std::int32_t ratio = sections[order[i] - 1].ratio;
    const bool isLast = i == kSectionCount - 1;
    const std::int64_t width = isLast ? newRect.width - x : std::int64_t{newRect.width} * ratio / sum;
    const bool shown = isLast ? width > kHiddenWidth : ratio != 0;
    PlacePane(order[i], {Narrow(x), 0, Narrow(width), newRect.height}, shown);
    x += Narrow(width);
  }
}

// The value meter's history follows the wish-value meter's, on its range.
void CRegulator::FillHistory() {
  const std::size_t count = std::size_t{wishValueMeter->history} + 1;
  void* block = valueMeter->historyBuffer;
  runlib::MemDeallocate(&block);
  valueMeter->history = wishValueMeter->history;
  runlib::MemAllocate(&block, count * sizeof(double));
  valueMeter->historyBuffer = static_cast<double*>(block);

  valueMeter->rangeFrom = wishValueMeter->rangeFrom;
  valueMeter->rangeTo = wishValueMeter->rangeTo;
  valueMeter->lowLimit = wishValueMeter->lowLimit;
  valueMeter->highLimit = wishValueMeter->highLimit;
  if (valueMeter->content == gaugekit::kFull) {
    SetLabel(valueMeter->lowLabel, valueMeter->lowLimit, valueMeter->decPlaces);
    SetLabel(valueMeter->highLabel, valueMeter->highLimit, valueMeter->decPlaces);
  }

  if (valueMeter->historyBuffer != nullptr) {
    std::fill_n(valueMeter->historyBuffer, count, valueMeter->rangeFrom);
  }
  if (wishValueMeter->historyBuffer != nullptr) {
    wishValueMeter->historyBuffer[wishValueMeter->history] = wishValueMeter->rangeFrom;
  }
}

// Draws two curves: the meter's own history in its value colour, and the other
// meter's in that meter's ink. Both histories are of one length.
void CRegulator::RegisterHistory(gaugekit::CMeter* own, gaugekit::CMeter* other) {
  if (own->mode != gaugekit::kHistory) return;
  own->painter.DeallocateStructure();
  own->painter.SetRange(own->rangeFrom, own->rangeTo, own->lowLimit, own->highLimit);
  if (own->historyBuffer != nullptr) {
    own->painter.RegisterBuffer(own->historyBuffer, own->history, own->colors.value);
  }
  if (other->historyBuffer != nullptr) {
    own->painter.RegisterBuffer(other->historyBuffer, valueMeter->history, other->colors.ink);
  }
  own->painter.enable = 1;
  own->painter.CreateStructure();
}

void CRegulator::TieHistories() {
  if (wishValueMeter->mode == gaugekit::kHistory || valueMeter->mode == gaugekit::kHistory) FillHistory();
  RegisterHistory(wishValueMeter, valueMeter);
  RegisterHistory(valueMeter, wishValueMeter);
  valueMeter->SettingsChanged();
  wishValueMeter->SettingsChanged();
  outputMeter->SettingsChanged();
}

void CRegulator::FinishRead(vcom::CRect) {
  if (CRegulator::IsComplete()) TieHistories();
  FindEvents();
}

}  // namespace loopbox
