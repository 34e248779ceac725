// Text between UTF-8, which the host's own parts use, and UTF-16, which
// crosses the boundary.
#ifndef LOOPBOX_RUNTIME_TEXT_WIDE_TEXT_H
#define LOOPBOX_RUNTIME_TEXT_WIDE_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace runtime {

// A code point from U+10000 on is a high surrogate and a low one.
constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr char32_t OfSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// A text that crossed the boundary: up to its capacity or its first zero,
// whichever is first; a null text is empty.
std::u16string_view WideView(std::uint32_t capacity, const char16_t* text);

// Ill-formed UTF-8, and surrogates that stand alone, become U+FFFD.
std::u16string Utf16(std::string_view text);
std::string Utf8(std::u16string_view text);

// Copies the text into a buffer of the boundary, as runlib::WStrAssign does.
void AssignWide(std::uint32_t capacity, char16_t* destination, std::u16string_view text);

}  // namespace runtime

#endif
