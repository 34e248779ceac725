// Text for people: numbers with four significant digits, aligned tables,
// wrapped paragraphs. Widths count code points.
#ifndef LOOPBOX_WORKBENCH_TEXT_H
#define LOOPBOX_WORKBENCH_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace workbench {

// Without the blanks at both ends.
std::string_view Trim(std::string_view text);
// The parts between `separator`, each trimmed; at most `limit` parts, the last
// of which keeps what separators it has.
std::vector<std::string> Split(std::string_view text, char separator, std::size_t limit = SIZE_MAX);

// Four significant digits, plain between 0.001 and ten million: "12.35",
// "0.004", "123500", "1.235e-07".
std::string Significant(double value);
// The same followed by a unit, if there is one.
std::string Quantity(double value, std::string_view unit);
// Enough digits for a time that is a multiple of a period: "12.5".
std::string Seconds(double seconds);
// A colour word 0x00BBGGRR as applications write it: "#RRGGBB".
std::string ColorText(std::uint32_t color);
// "1 period", "2 periods".
std::string Count(std::uint64_t count, std::string_view noun);

// At most `length` bytes, of whole characters; what is left out is marked by "…".
std::string Shortened(std::string_view text, std::size_t length);

std::string Indented(std::string_view text, std::size_t indent, std::size_t width);

// Rows of cells, printed with the columns under each other.
class CTable {
 public:
  void Add(std::vector<std::string> row);
  // Columns are `gap` blanks apart, and the whole `indent` from the left. Each
  // line has its end.
  std::vector<std::string> Lines(std::size_t indent = 2, std::size_t gap = 2) const;
  std::string Text(std::size_t indent = 2, std::size_t gap = 2) const;

 private:
  std::vector<std::vector<std::string>> rows;
};

}  // namespace workbench

#endif
