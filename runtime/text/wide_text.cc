#include "runtime/text/wide_text.h"

#include <algorithm>
#include <limits>

#include "host/runlib.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kInvalid = 0xFFFFFFFF;

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// Reads one character at `position` and moves past it; past one byte only,
// or past the part that could have begun a character, when it is not valid.
char32_t NextOfUtf8(std::string_view text, std::size_t& position) {
  const auto lead = static_cast<unsigned char>(text[position++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kInvalid;
  const int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t character = lead & (0x3F >> following);
  // The second byte's range is narrower where a character would be a
  // surrogate, too large, or not in its shortest form.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (int i = 0; i < following; ++i) {
    if (position == text.size()) return kInvalid;
    const auto byte = static_cast<unsigned char>(text[position]);
    if (byte < low || byte > high) return kInvalid;
    character = (character << 6) | (byte & 0x3F);
    ++position;
    low = 0x80;
    high = 0xBF;
  }
  return character;
}

char32_t NextOfUtf16(std::u16string_view text, std::size_t& position) {
  const char32_t unit = text[position++];
  if (IsHighSurrogate(unit) && position < text.size() && IsLowSurrogate(text[position])) {
    return 0x10000 + ((unit - 0xD800) << 10) + (text[position++] - 0xDC00u);
  }
  return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit;
}

void AppendUtf8(char32_t character, std::string& text) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr unsigned kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLeads[following] | (character >> (6 * following)));
  for (int i = following - 1; i >= 0; --i) text += static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F));
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
    char32_t character = NextOfUtf8(text, position);
    if (character == kInvalid) character = kReplacement;
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
    AppendUtf8(NextOfUtf16(text, position), narrow);
  return narrow;
}

bool ValidUtf8(std::string_view text) {
  for (std::size_t position = 0; position < text.size();) {
    if (NextOfUtf8(text, position) == kInvalid) return false;
  }
  return true;
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
