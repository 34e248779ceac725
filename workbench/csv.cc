#include "workbench/csv.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include "workbench/run/pacing.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kChunk = 65536;  // bytes, read at once
constexpr int kLongestWait = 250;      // ms; an interruption is seen after it

}  // namespace

CBytes::~CBytes() {
  if (file != STDIN_FILENO) close(file);
}

bool CBytes::Fill(bool waits) {
  if (ended) return false;
  pollfd asked = {file, POLLIN, 0};
  while (poll(&asked, 1, waits ? kLongestWait : 0) <= 0) {
    if (!waits || InterruptionAsked()) return false;
  }
  bytes.erase(0, at);
  at = 0;
  const std::size_t before = bytes.size();
  bytes.resize(before + kChunk);
  const ssize_t count = read(file, bytes.data() + before, kChunk);
  bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  failed = count < 0;
  ended = count <= 0;
  return !ended;
}

bool CBytes::HasRecord() {
  bool isQuoted = false;
  for (std::size_t next = at;; ++next) {
    if (next - at > kLongestCsvRecord) return true;
    if (next == bytes.size()) {
      const std::size_t passed = next - at;
      if (!Fill(false)) return ended;
      next = at + passed;
    }
    if (bytes[next] == '"') isQuoted = !isQuoted;
    if (bytes[next] == '\n' && !isQuoted) return true;
  }
}

void CBytes::SkipByteOrderMark() {
  while (bytes.size() < kByteOrderMark.size() && Fill(true)) {
  }
  if (bytes.starts_with(kByteOrderMark)) at = kByteOrderMark.size();
}

CCsvReader::CCsvReader(std::string thePath, int descriptor) : path(std::move(thePath)), bytes(descriptor) {}

std::unique_ptr<CCsvReader> CCsvReader::Open(const std::string& path, std::string* error) {
  const bool isStandard = path == kStandardInput;
  const int file = isStandard ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (file < 0) {
    *error = path + ": can't be read: " + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<CCsvReader> reader(new CCsvReader(isStandard ? "standard input" : path, file));
  reader->bytes.SkipByteOrderMark();
  const EOutcome outcome = reader->ReadRecord(error);
  if (outcome == kWrong || outcome == kBad) return nullptr;
  if (reader->separator == kUnknown) reader->separator = ',';
  reader->header = std::exchange(reader->fields, {});
  if (outcome == kEnd || (reader->header.size() == 1 && reader->header[0].empty())) {
    *error = reader->path + ": expected a line of column names, found nothing";
    return nullptr;
  }
  for (std::size_t column = 0; column < reader->header.size(); ++column) {
    const std::string& name = reader->header[column];
    if (reader->columns.emplace(name, column).second || name.empty()) continue;
    *error = reader->Complaint("two columns are named \"" + name + "\"");
    return nullptr;
  }
  return reader;
}

std::ptrdiff_t CCsvReader::Column(const std::string& name) const {
  const auto found = columns.find(name);
  return found == columns.end() ? -1 : static_cast<std::ptrdiff_t>(found->second);
}

CCsvReader::EOutcome CCsvReader::Next(std::string* error) {
  EOutcome outcome = kRow;
  do {
    outcome = ReadRecord(error);
  } while (outcome == kRow && fields.size() == 1 && fields[0].empty() && header.size() > 1);
  if (outcome != kRow || fields.size() == header.size()) return outcome;
  *error = Complaint("expected " + std::to_string(header.size()) + " fields as in the first line, found " +
                     std::to_string(fields.size()));
  return kWrong;
}

// NOLINTNEXTLINE(readability-function-size): the states of a field with all that leads from one to another.
CCsvReader::EOutcome CCsvReader::ReadRecord(std::string* error) {
  line = nextLine;
  std::size_t size = 0;
  std::size_t count = 0;  // of fields; their strings are kept for the next record
  const auto begin = [&] {
    // A long one is not kept: else those of many records would add up.
    constexpr std::size_t kKept = 64;
    if (count == fields.size()) fields.emplace_back();
    if (fields[count].capacity() > kKept) fields[count] = std::string();
    fields[count].clear();
    return &fields[count++];
  };
  const auto bad = [&](const char* why) {
    *error = Complaint(why);
    return kBad;
  };
  const char* problem = nullptr;  // the first; the record is read to its end all the same
  const auto wrong = [&problem](const char* why) { problem = problem == nullptr ? why : problem; };
  std::string* field = begin();
  enum { kStart, kPlain, kQuoted, kAfterQuoted } state = kStart;
  for (int c = bytes.Next();; c = bytes.Next()) {
    if (++size > kLongestCsvRecord) return bad("the line is longer than 16 MiB");
    if (c == CBytes::kEnd) {
      if (bytes.Failed()) return bad("can't be read any further");
      if (state == kQuoted) return bad("a quoted field has no end");
      if (size == 1) return kEnd;
      break;
    }
    if (c == '\n') ++nextLine;
    if (separator == kUnknown && state != kQuoted && (c == ',' || c == ';')) separator = c;
    if (state == kQuoted) {
      if (c == '"') {
        state = kAfterQuoted;
      } else {
        *field += static_cast<char>(c);
      }
    } else if (c == '\n') {
      if (state == kPlain && !field->empty() && field->back() == '\r') field->pop_back();
      break;
    } else if (c == separator) {
      if (count == kMostCsvFields) return bad("the line has more than 1048576 fields");
      field = begin();
      state = kStart;
    } else if (c == '"' && state == kStart) {
      state = kQuoted;
    } else if (c == '"' && state == kAfterQuoted) {
      *field += '"';
      state = kQuoted;
    } else if (state == kAfterQuoted) {
      if (c != '\r') wrong("expected a separator or the line's end behind a quoted field");
    } else if (c == '"') {
      wrong("a quote inside a field that is not quoted");
    } else {
      *field += static_cast<char>(c);
      state = kPlain;
    }
  }
  fields.resize(count);
  if (problem == nullptr) return kRow;
  *error = Complaint(problem);
  return kWrong;
}

std::string CCsvReader::NumberText(std::size_t column) const {
  std::string text(Trim(fields[column]));
  if (separator == ';' && std::count(text.begin(), text.end(), ',') == 1 && text.find('.') == std::string::npos) {
    text[text.find(',')] = '.';
  }
  return text;
}

bool CCsvReader::Number(std::size_t column, double* value, std::string* error) const {
  const std::string text = NumberText(column);
  const char* const end = text.data() + text.size();
  const auto [stop, status] = std::from_chars(text.data(), end, *value);
  if (status == std::errc() && stop == end && std::isfinite(*value)) return true;
  *error = Complaint(column, "expected a number, found \"" + fields[column] + "\"");
  return false;
}

bool CCsvReader::Later(std::size_t column, double* time, std::string* error) const {
  const double last = *time;
  if (!Number(column, time, error)) return false;
  if (*time > last) return true;
  *error = Complaint(column, "expected more than the " + Seconds(last) + " of the row before, found " + fields[column]);
  return false;
}

std::string CCsvReader::Complaint(const std::string& problem) const {
  return path + ":" + std::to_string(line) + ": " + problem;
}

std::string CCsvReader::Complaint(std::size_t column, const std::string& problem) const {
  return Complaint("column " + header[column] + ": " + problem);
}

}  // namespace workbench
