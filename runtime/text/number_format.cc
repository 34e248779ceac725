#include "runtime/text/number_format.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "host/runlib.h"

namespace {

constexpr std::uint32_t kMaximumPlaces = 15;
// A sign, the digits of the largest double, a point and its places.
constexpr std::size_t kLongest = 1 + std::numeric_limits<double>::max_exponent10 + 1 + 1 + kMaximumPlaces;

// The value in fixed notation, or in the most exact scientific one that fits
// when that is longer than the capacity.
std::string_view Print(double value, std::uint32_t places, std::uint32_t capacity, char (&digits)[kLongest]) {
  if (std::isnan(value)) return "nan";
  char* const end = digits + kLongest;
  auto result = std::to_chars(digits, end, value, std::chars_format::fixed, static_cast<int>(places));
  const auto length = [&] { return static_cast<std::size_t>(result.ptr - digits); };
  for (int kept = static_cast<int>(places); length() > capacity && kept >= 0; --kept) {
    result = std::to_chars(digits, end, value, std::chars_format::scientific, kept);
  }
  return {digits, length()};
}

}  // namespace

namespace runtime {

char* PutShortest(double value, char* text) {
  // Whole numbers below this are never shorter in scientific notation.
  constexpr double kFixed = 100'000.0;
  const auto whole = static_cast<std::int32_t>(std::fabs(value) < kFixed ? value : kFixed);
  if (std::bit_cast<std::uint64_t>(static_cast<double>(whole)) == std::bit_cast<std::uint64_t>(value) &&
      whole != static_cast<std::int32_t>(kFixed)) {
    return std::to_chars(text, text + kShortestLength, whole).ptr;
  }
  if (std::isnan(value)) return std::copy_n("nan", 3, text);
  return std::to_chars(text, text + kShortestLength, value).ptr;
}

void AppendShortest(double value, std::string* text) {
  char digits[kShortestLength];
  text->append(digits, PutShortest(value, digits));
}

std::string ShortestNumber(double value) {
  std::string text;
  AppendShortest(value, &text);
  return text;
}

}  // namespace runtime

namespace runlib {

void RealToWStr(double value, std::uint32_t decimalPlaces, std::uint32_t capacity, char16_t* destination,
                std::uint32_t* length) {
  std::uint32_t written = 0;
  if (destination != nullptr) {
    char digits[kLongest];
    const std::string_view text = Print(value, std::min(decimalPlaces, kMaximumPlaces), capacity, digits);
    written = static_cast<std::uint32_t>(std::min<std::size_t>(text.size(), capacity));
    std::copy_n(text.begin(), written, destination);
    destination[written] = 0;
  }
  if (length != nullptr) *length = written;
}

}  // namespace runlib
