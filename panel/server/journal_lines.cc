#include "panel/server/journal_lines.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "json/json.h"

namespace panel {

CJournalLines::~CJournalLines() {
  if (file >= 0) close(file);
}

void CJournalLines::Look() {
  if (file < 0 && !name.empty()) file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  char bytes[1 << 16];
  for (ssize_t count = 0; (count = pread(file, bytes, sizeof bytes, static_cast<off_t>(seen))) > 0;) {
    for (ssize_t i = 0; i < count; ++i) {
      if (bytes[i] == '\n') ends.push_back(seen + static_cast<std::uint64_t>(i) + 1);
    }
    seen += static_cast<std::uint64_t>(count);
  }
}

std::string CJournalLines::Line(std::size_t index) const {
  const std::uint64_t begin = index == 0 ? 0 : ends[index - 1];
  std::string line(ends[index] - begin - 1, '\0');
  const ssize_t count = pread(file, line.data(), line.size(), static_cast<off_t>(begin));
  line.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return line;
}

std::string CJournalLines::Read(std::optional<std::uint64_t> before, std::size_t count) {
  Look();
  const std::uint64_t end = std::min<std::uint64_t>(before && *before > 0 ? *before - 1 : ends.size(), ends.size());
  const std::uint64_t begin = end - std::min<std::uint64_t>(end, count);
  json::CValue lines = json::CValue::Array();
  for (std::uint64_t i = begin; i < end; ++i) {
    if (std::optional<json::CValue> line = json::CValue::Parse(Line(i))) lines.Append(*std::move(line));
  }
  return json::CValue({{"lines", std::move(lines)}, {"first", begin + 1}, {"total", std::uint64_t{ends.size()}}})
      .Text();
}

}  // namespace panel
