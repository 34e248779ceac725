#include "runtime/platform/text_metrics.h"

#include <algorithm>
#include <limits>

#include "runtime/text/wide_text.h"

namespace {

// Advances are hundredths of the font's size, close to those of a common sans
// serif.
struct TAdvances {
  std::u16string_view characters;
  std::int32_t advance;
};
constexpr std::int32_t kNormalAdvance = 57;
constexpr std::int32_t kCapitalAdvance = 68;
constexpr std::int32_t kFullAdvance = 100;
constexpr std::int32_t kBoldExtra = 6;
constexpr TAdvances kAdvances[] = {
    {u" !',.:;|ijlIíìîï", 28},
    {u"()[]{}-/\\frtřť°\"", 36},
    {u"mwMW%@—", 88},
};

constexpr std::uint32_t kLargestSize = 1000;  // points; beyond it only the arithmetic would suffer
constexpr std::int64_t kPixelsPerInch = 96;
constexpr std::int64_t kPointsPerInch = 72;

constexpr bool IsCombining(char16_t unit) { return unit >= 0x0300 && unit <= 0x036F; }
constexpr bool IsCapital(char16_t unit) {
  return (unit >= u'A' && unit <= u'Z') || (unit >= 0x00C0 && unit <= 0x00DE && unit != 0x00D7);
}
// The ideographs, the syllables and, by their first half, the characters
// beyond the basic plane.
constexpr bool IsFull(char16_t unit) { return unit >= 0x2E80 && unit < 0xDC00; }

std::int32_t Advance(char16_t unit) {
  if (IsCombining(unit) || runtime::IsLowSurrogate(unit)) return 0;
  if (IsFull(unit)) return kFullAdvance;
  for (const TAdvances& group : kAdvances) {
    if (group.characters.find(unit) != std::u16string_view::npos) return group.advance;
  }
  return IsCapital(unit) ? kCapitalAdvance : kNormalAdvance;
}

std::int32_t Pixels(std::int64_t value) {
  return static_cast<std::int32_t>(std::min<std::int64_t>(value, std::numeric_limits<std::int32_t>::max()));
}

std::int32_t FixedWidth(const vgr::TFontInfoEx* font, std::u16string_view text) {
  std::int64_t hundredths = 0;
  for (const char16_t unit : text) {
    const std::int32_t advance = Advance(unit);
    hundredths += advance + (advance > 0 && font->bold != 0 ? kBoldExtra : 0);
  }
  constexpr std::int64_t kDivisor = 100 * kPointsPerInch;
  const std::int64_t size = std::min(font->size, kLargestSize);
  return Pixels((hundredths * size * kPixelsPerInch + kDivisor - 1) / kDivisor);
}

runtime::TTextMeasure measureInUse = FixedWidth;

}  // namespace

namespace runtime {

void SetTextMeasure(TTextMeasure measure) { measureInUse = measure != nullptr ? measure : FixedWidth; }

std::int32_t LineHeight(const vgr::TFontInfoEx* font) {
  constexpr std::int64_t kPercent = 125;  // the line's share of the font's size
  const std::int64_t size = std::min((font != nullptr ? font : &vgr::SystemN9)->size, kLargestSize);
  return Pixels(size * kPixelsPerInch * kPercent / (100 * kPointsPerInch));
}

}  // namespace runtime

namespace vgr {

const TFontInfoEx SystemN9 = {u"Sans", 9, 0, 0};

std::int32_t GetTextW(const TFontInfoEx* font, std::uint32_t maximum, const char16_t* text) {
  return measureInUse(font != nullptr ? font : &SystemN9, runtime::WideView(maximum, text));
}

}  // namespace vgr
