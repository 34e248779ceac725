#include "workbench/run/recorded_commands.h"

#include <charconv>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr panel::EDeed kLastDeed = panel::EDeed::kUnlatch;

template <typename TNumber>
bool ReadWholeNumber(std::string_view text, TNumber* number) {
  const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), *number);
  return failed == std::errc() && end == text.data() + text.size();
}

std::optional<panel::EDeed> DeedNamed(std::string_view name) {
  for (int i = 0; i <= static_cast<int>(kLastDeed); ++i) {
    const auto deed = static_cast<panel::EDeed>(i);
    if (name == panel::NameOf(deed)) return deed;
  }
  return std::nullopt;
}

bool ReadRow(const std::string& row, TRecordedCommand* recorded) {
  const std::vector<std::string> cell = Split(row, ',');
  if (cell.size() != 4 || !ReadWholeNumber(cell[0], &recorded->period)) return false;
  const auto deed = DeedNamed(cell[1]);
  if (!deed) return false;
  recorded->command.deed = *deed;
  recorded->target = cell[2];
  if (cell[3].empty()) return true;
  for (const std::string& value : Split(cell[3], ' ')) {
    std::uint32_t& count = recorded->command.valueCount;
    if (count == panel::kMostValues || !ReadWholeNumber(value, &recorded->command.values[count])) return false;
    ++count;
  }
  return true;
}

}  // namespace

std::string CommandColumns() { return "period,command,target,value\r\n"; }

std::string CommandRow(const TRecordedCommand& recorded) {
  std::string row =
      std::to_string(recorded.period) + "," + panel::NameOf(recorded.command.deed) + "," + recorded.target + ",";
  for (std::uint32_t i = 0; i < recorded.command.valueCount; ++i) {
    char digits[32];
    const auto written = std::to_chars(std::begin(digits), std::end(digits), recorded.command.values[i]);
    if (i > 0) row += ' ';
    row.append(std::begin(digits), written.ptr);
  }
  return row + "\r\n";
}

bool ReadCommands(const std::string& text, std::vector<TRecordedCommand>* commands, std::uint64_t* wrongLine) {
  std::uint64_t number = 0;
  for (std::size_t begin = 0; begin < text.size(); ++number) {
    const std::size_t end = text.find('\n', begin);
    // A row that isn't whole is that of a run that was killed.
    if (end == std::string::npos) return true;
    TRecordedCommand recorded;
    const std::string row = text.substr(begin, end - begin);
    begin = end + 1;
    if (number == 0) continue;
    if (!ReadRow(row, &recorded)) {
      *wrongLine = number + 1;
      return false;
    }
    commands->push_back(std::move(recorded));
  }
  return true;
}

}  // namespace workbench
