// Texts with their lengths, and the messages of a definition's errors.
#ifndef LOOPBOX_REGULATOR_TEXT_H
#define LOOPBOX_REGULATOR_TEXT_H

#include <cstdint>

#include "host/hx_main.h"

namespace loopbox {

struct TText {
  std::uint32_t length;  // code units
  const char16_t* text;
};

// Text<3>(u"ink"). When the text is not of the declared length, it does not
// compile.
template <std::uint32_t length>
constexpr TText Text(const char16_t (&text)[length + 1]) {
  return {length, text};
}

inline constexpr TText kNoText = {0, nullptr};

inline constexpr TText kExpectedIdentifier = Text<22>(hx_err_::_Expected_identifier);
inline constexpr TText kUnknownIdentifier = Text<21>(hx_err_::_Unknown_identifier);
inline constexpr TText kUnknownKeyword = Text<21>(hx_err_::_Unknown_keyword);
inline constexpr TText kExpressionRedefined = Text<17>(hx_err_::_Expression_redefined);

inline constexpr std::uint32_t kNameCapacity = 63;
inline constexpr std::uint32_t kTokenCapacity = 1023;

}  // namespace loopbox

#endif
