#include "runtime/text/wide_text.h"

#include <algorithm>
#include <limits>

#include "host/runlib.h"
#include "runtime/text/utf8.h"

namespace {

using runtime::IsHighSurrogate;
using runtime::IsLowSurrogate;

char32_t NextOfUtf16(std::u16string_view text, std::size_t& position) {
  const char32_t unit = text[position++];
  if (IsHighSurrogate(unit) && position < text.size() && IsLowSurrogate(text[position])) {
    return runtime::OfSurrogates(unit, text[position++]);
  }
  return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? runtime::kReplacement : unit;
}

}  // namespace

namespace runtime {

std::u16string_view WideView(std::uint32_t capacity, const char16_t* text) {
  if (text == nullptr) return {};
  std::uint32_t length = 0;
  while (length < capacity && text[length] != 0) ++length;
  return {text, length};
}

// Most texts are of ASCII characters alone, or begin with them.
std::u16string Utf16(std::string_view text) {
  const auto ascii =
      std::find_if(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  std::u16string wide(text.begin(), ascii);
  wide.reserve(text.size());
  for (auto position = static_cast<std::size_t>(ascii - text.begin()); position < text.size();) {
    char32_t character = NextCodePoint(text, &position);
    if (character == kIllFormed) character = kReplacement;
    if (character < 0x10000) {
      wide += static_cast<char16_t>(character);
    } else {
      wide += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
      wide += static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
    }
  }
  return wide;
}

std::string Utf8(std::u16string_view text) {
  const auto ascii = std::find_if(text.begin(), text.end(), [](char16_t c) { return c >= 0x80; });
  std::string narrow(static_cast<std::size_t>(ascii - text.begin()), '\0');
  std::transform(text.begin(), ascii, narrow.begin(), [](char16_t c) { return static_cast<char>(c); });
  narrow.reserve(text.size());
  for (auto position = static_cast<std::size_t>(ascii - text.begin()); position < text.size();)
    AppendCodePoint(NextOfUtf16(text, position), &narrow);
  return narrow;
}

void AssignWide(std::uint32_t capacity, char16_t* destination, std::u16string_view text) {
  constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
  runlib::WStrAssign(capacity, destination, static_cast<std::uint32_t>(std::min(text.size(), kMost)), text.data());
}

}  // namespace runtime

namespace runlib {

void WStrAssign(std::uint32_t capacity, char16_t* destination, std::uint32_t length, const char16_t* source) {
  if (destination == nullptr) return;
  std::u16string_view text = runtime::WideView(length, source);
  if (text.size() > capacity) {
    const bool splitsPair = capacity > 0 && IsHighSurrogate(text[capacity - 1]) && IsLowSurrogate(text[capacity]);
    text = text.substr(0, capacity - (splitsPair ? 1 : 0));
  }
  // The two may overlap.
  std::char_traits<char16_t>::move(destination, text.data(), text.size());
  destination[text.size()] = 0;
}

std::int32_t WStrCompare(std::uint32_t capacity, const char16_t* text, std::uint32_t length, const char16_t* other) {
  if (text == nullptr) capacity = 0;
  if (other == nullptr) length = 0;
  for (std::uint32_t i = 0;; ++i) {
    const char16_t left = i < capacity ? text[i] : u'\0';
    const char16_t right = i < length ? other[i] : u'\0';
    if (left != right) return left < right ? -1 : 1;
    if (left == 0) return 0;
  }
}

}  // namespace runlib
