#include "panel/journal_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <utility>

#include "hash/hash.h"

namespace panel {
namespace {

using json::CValue;

constexpr const char* kEntries[] = {"set",      "parameters", "take_back", "call",      "acknowledge", "shelve",
                                    "unshelve", "service",    "stop",      "release",   "unlatch",     "start",
                                    "end",      "came",       "returned",  "unshelved", "request"};
constexpr std::size_t kLongestLine = 16384;  // bytes, with its end

// ISO 8601, UTC.
std::string TimeText(double wall) {
  const double milliseconds = std::floor(wall * 1000.0 + 0.5);
  const auto seconds = static_cast<std::time_t>(std::floor(milliseconds / 1000.0));
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 40> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text.data() + size, text.size() - size, ".%03dZ",
                static_cast<int>(milliseconds - 1000.0 * static_cast<double>(seconds)));
  return text.data();
}

CValue Numbers(const double* values, std::uint32_t count) {
  if (count == 0) return {};
  if (count == 1) return values[0];
  CValue array = CValue::Array();
  for (std::uint32_t i = 0; i < count; ++i) array.Append(values[i]);
  return array;
}

// The line's number and the hash that it names; none: it is no line of a journal.
std::optional<std::pair<double, std::string>> LinkOf(const CValue& value) {
  const auto number = value.Member("line").Number();
  auto before = value.Member("before").String();
  if (!number || !before) return std::nullopt;
  return std::pair(*number, *std::move(before));
}

}  // namespace

const char* NameOf(EEntry entry) { return kEntries[static_cast<std::size_t>(entry)]; }
const char* NameOf(EDeed deed) { return NameOf(EntryOf(deed)); }

std::string NoHash() { return std::string(64, '0'); }

std::string JournalLine(const TJournalRecord& record, std::uint64_t line, const std::string& before) {
  return CValue({{"line", line},
                 {"time", TimeText(record.wall)},
                 {"run_time", record.time},
                 {"period", record.period},
                 {"who", record.who},
                 {"what", NameOf(record.what)},
                 {"thing", record.thing},
                 {"old", Numbers(record.old, record.oldCount)},
                 {"new", Numbers(record.now, record.newCount)},
                 {"outcome", record.isRefused ? "refused" : "done"},
                 {"why", record.why},
                 {"before", before}})
      .Text();
}

std::string HashOfLine(std::string_view line) { return hash::Hex(hash::Sha256(line)); }

bool ReadJournalEnd(int descriptor, TJournalEnd* end, std::string* error) {
  const off_t size = lseek(descriptor, 0, SEEK_END);
  const off_t from = std::max<off_t>(0, size - static_cast<off_t>(2 * kLongestLine));
  std::string tail(static_cast<std::size_t>(std::max<off_t>(0, size - from)), '\0');
  const ssize_t got = size < 0 ? -1 : pread(descriptor, tail.data(), tail.size(), from);
  if (got != static_cast<ssize_t>(tail.size())) {
    *error = std::strerror(errno);
    return false;
  }
  *end = {};
  if (size == 0) return true;
  const std::size_t wholes = tail.rfind('\n') + 1;  // 0 where there is no whole line
  end->torn = tail.size() - wholes;
  end->whole = static_cast<std::size_t>(size) - end->torn;
  std::string_view last = std::string_view(tail).substr(0, wholes == 0 ? tail.size() : wholes - 1);
  last.remove_prefix(last.rfind('\n') + 1);
  if (wholes == 0 && from == 0 && last.starts_with("{\"line\":1,")) return true;  // nothing but a torn first line
  const auto value = CValue::Parse(last);
  const auto link = value ? LinkOf(*value) : std::nullopt;
  if (wholes == 0 || !link || !(link->first >= 1.0)) {
    *error = "it is no journal, or its last line is damaged";
    return false;
  }
  end->lines = static_cast<std::uint64_t>(link->first);
  end->hash = HashOfLine(last);
  return true;
}

bool ReadJournal(const std::string& path, const std::function<void(std::string_view line, const CValue& value)>& visit,
                 TJournalVerdict* verdict, std::string* error) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
  char* read = nullptr;
  std::size_t room = 0;
  std::uint64_t number = 0;
  TJournalEnd& end = verdict->end;
  errno = 0;
  for (ssize_t size = 0; file && (size = getline(&read, &room, file.get())) > 0;) {
    std::string_view line(read, static_cast<std::size_t>(size));
    if (!line.ends_with('\n')) {
      end.torn = line.size();
      break;
    }
    line.remove_suffix(1);
    ++number;
    const auto value = CValue::Parse(line);
    visit(line, value ? *value : CValue());
    if (verdict->wrongLine != 0) continue;
    const auto link = value ? LinkOf(*value) : std::nullopt;
    if (!link) {
      verdict->why = "it is no line of a journal";
    } else if (link->second != end.hash) {
      verdict->why =
          number == 1 ? "it is no first line" : "the line before it is not the one that it was written behind";
    } else if (link->first != static_cast<double>(number)) {
      verdict->why = "it has another number";
    }
    if (!verdict->why.empty()) {
      verdict->wrongLine = number;
      continue;
    }
    end.lines = number;
    end.hash = HashOfLine(line);
    end.whole += line.size() + 1;
  }
  const int failure = errno;
  std::free(read);
  if (file && std::ferror(file.get()) == 0) return true;
  *error = path + ": the journal can't be read: " + std::strerror(failure);
  return false;
}

}  // namespace panel
