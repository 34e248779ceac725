#include "workbench/text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace workbench {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

std::size_t Width(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsContinuation));
}

std::string Printed(const char* format, int precision, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, precision, value);
  return buffer;
}

}  // namespace

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string> Split(std::string_view text, char separator, std::size_t limit) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t end = parts.size() + 1 < limit ? text.find(separator) : std::string_view::npos;
    parts.emplace_back(Trim(text.substr(0, end)));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string Significant(double value) {
  // Rounding first decides the magnitude: 9.99996 is 10.
  const double rounded = std::strtod(Printed("%.*e", 3, value).c_str(), nullptr);
  const double magnitude = std::fabs(rounded);
  if (magnitude == 0.0) return "0";
  if (!(magnitude >= 1e-3 && magnitude < 1e7)) return Printed("%.*g", 4, value);
  const int decimals = std::clamp(3 - static_cast<int>(std::floor(std::log10(magnitude))), 0, 6);
  std::string text = Printed("%.*f", decimals, rounded);
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string Quantity(double value, std::string_view unit) {
  std::string text = Significant(value);
  if (!unit.empty()) text.append(" ").append(unit);
  return text;
}

std::string Seconds(double seconds) { return Printed("%.*g", 10, seconds); }

std::string ColorText(std::uint32_t color) {
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", color & 0xFF, color >> 8 & 0xFF, color >> 16 & 0xFF);
  return text;
}

std::string Count(std::uint64_t count, std::string_view noun) {
  std::string text = std::to_string(count).append(" ").append(noun);
  if (count != 1) text += 's';
  return text;
}

std::string Shortened(std::string_view text, std::size_t length) {
  constexpr std::string_view kCut = "…";
  if (text.size() <= length) return std::string(text);
  length -= kCut.size();
  while (length > 0 && IsContinuation(text[length])) --length;
  return std::string(text.substr(0, length)).append(kCut);
}

std::string Indented(std::string_view text, std::size_t indent, std::size_t width) {
  std::string result;
  std::size_t column = 0;
  for (text = Trim(text); !text.empty(); text = Trim(text)) {
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    if (column != 0 && column + 1 + Width(word) > width) {
      result += '\n';
      column = 0;
    }
    if (column == 0) {
      result.append(indent, ' ');
      column = indent;
    } else {
      result += ' ';
      ++column;
    }
    result += word;
    column += Width(word);
    text.remove_prefix(word.size());
  }
  return result.empty() ? result : result + '\n';
}

void CTable::Add(std::vector<std::string> row) { rows.push_back(std::move(row)); }

std::vector<std::string> CTable::Lines(std::size_t indent, std::size_t gap) const {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], Width(row[column]));
  }
  std::vector<std::string> lines;
  for (const auto& row : rows) {
    std::string line(indent, ' ');
    for (std::size_t column = 0; column < row.size(); ++column)
      line.append(row[column]).append(widths[column] - Width(row[column]) + gap, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    lines.push_back(line + "\n");
  }
  return lines;
}

std::string CTable::Text(std::size_t indent, std::size_t gap) const {
  std::string text;
  for (const std::string& line : Lines(indent, gap)) text += line;
  return text;
}

}  // namespace workbench
