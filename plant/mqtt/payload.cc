#include "plant/mqtt/payload.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "json/json.h"

namespace plant {
namespace {

// A message about one value is small, and flat.
constexpr std::size_t kMostBytes = 65536;
constexpr std::ptrdiff_t kMostBrackets = 256;

std::optional<double> ReadValue(std::string_view text) {
  if (text == "true") return 1.0;
  if (text == "false") return 0.0;
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  double number = 0.0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

std::optional<TPayload> ReadPayload(std::string_view bytes) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = bytes.find_first_not_of(kBlanks);
  if (first == std::string_view::npos || bytes.size() > kMostBytes) return std::nullopt;
  const std::string_view text = bytes.substr(first, bytes.find_last_not_of(kBlanks) + 1 - first);
  if (text.front() != '{') {
    const std::optional<double> value = ReadValue(text);
    if (!value) return std::nullopt;
    return TPayload{*value};
  }
  if (std::count_if(text.begin(), text.end(), [](char c) { return c == '{' || c == '['; }) > kMostBrackets) {
    return std::nullopt;
  }
  const std::optional<json::CValue> object = json::CValue::Parse(text);
  if (!object) return std::nullopt;
  const json::CValue member = object->Member("value");
  const std::optional<double> value = ReadValue(member.String().value_or(member.Text()));
  if (!value) return std::nullopt;
  const std::optional<std::string> quality = object->Member("quality").String();
  return TPayload{*value, quality.value_or("good") == "good" ? EQuality::kGood : EQuality::kLost};
}

std::string PayloadOf(double value, EQuality quality, bool isBoolean, bool isJson, double time) {
  const json::CValue told = isBoolean ? json::CValue(value != 0.0) : json::CValue(value);
  return isJson ? json::CValue({{"value", told}, {"time", time}, {"quality", NameOf(quality)}}).Text() : told.Text();
}

}  // namespace plant
