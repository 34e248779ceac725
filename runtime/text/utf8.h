// UTF-8, a code point at a time. Well-formed are shortest forms alone, up to
// U+10FFFF and without surrogates.
#ifndef LOOPBOX_RUNTIME_TEXT_UTF8_H
#define LOOPBOX_RUNTIME_TEXT_UTF8_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace runtime {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kIllFormed = 0xFFFFFFFF;

constexpr bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The bytes of a text that continue a code point; the others begin one.
inline std::size_t ContinuationCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsContinuation));
}

// The code point at *position, which moves past it. What is ill-formed yields
// kIllFormed and is passed as far as it could have begun a code point, by one
// byte at least.
inline char32_t NextCodePoint(std::string_view text, std::size_t* position) {
  const auto lead = static_cast<unsigned char>(text[(*position)++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kIllFormed;
  const int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t codePoint = lead & (0x3F >> following);
  // The second byte's range is narrower where a code point would be a
  // surrogate, too large, or not in its shortest form.
  unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  for (int i = 0; i < following; ++i) {
    if (*position == text.size()) return kIllFormed;
    const auto byte = static_cast<unsigned char>(text[*position]);
    if (byte < low || byte > high) return kIllFormed;
    codePoint = (codePoint << 6) | (byte & 0x3F);
    ++*position;
    low = 0x80;
    high = 0xBF;
  }
  return codePoint;
}

inline void AppendCodePoint(char32_t codePoint, std::string* text) {
  if (codePoint < 0x80) {
    text->push_back(static_cast<char>(codePoint));
    return;
  }
  const int following = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
  constexpr unsigned kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  text->push_back(static_cast<char>(kLeads[following] | (codePoint >> (6 * following))));
  for (int i = following - 1; i >= 0; --i) {
    text->push_back(static_cast<char>(0x80 | ((codePoint >> (6 * i)) & 0x3F)));
  }
}

// The bytes before the first that is ill-formed.
std::size_t WellFormedLength(std::string_view text);

}  // namespace runtime

#endif
