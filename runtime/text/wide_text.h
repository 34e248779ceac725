// Text between UTF-8, which the host's own parts use, and UTF-16, which
// crosses the boundary.
#ifndef LOOPBOX_RUNTIME_TEXT_WIDE_TEXT_H
#define LOOPBOX_RUNTIME_TEXT_WIDE_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace runtime {

// A text that crossed the boundary: up to its capacity or its first zero,
// whichever is first; a null text is empty.
std::u16string_view WideView(std::uint32_t capacity, const char16_t* text);

// Bytes that are no UTF-8, and surrogates that stand alone, become U+FFFD.
std::u16string Utf16(std::string_view text);
std::string Utf8(std::u16string_view text);

// Shortest forms only, no surrogates, at most U+10FFFF.
bool ValidUtf8(std::string_view text);

// Copies the text into a buffer of the boundary, as runlib::WStrAssign does.
void AssignWide(std::uint32_t capacity, char16_t* destination, std::u16string_view text);

}  // namespace runtime

#endif
