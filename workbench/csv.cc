#include "workbench/csv.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

CCsvReader::CCsvReader(std::string thePath, std::FILE* theFile) : path(std::move(thePath)), file(theFile) {}

std::unique_ptr<CCsvReader> CCsvReader::Open(const std::string& path, std::string* error) {
  std::error_code missing;
  const std::filesystem::file_status status = std::filesystem::status(path, missing);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    *error = path + ": is no file that can be read twice";
    return nullptr;
  }
  errno = 0;
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    *error = path + ": can't be read: " + std::strerror(errno);
    return nullptr;
  }
  std::unique_ptr<CCsvReader> reader(new CCsvReader(path, file));
  char mark[kByteOrderMark.size()];
  const std::size_t size = std::fread(mark, 1, sizeof mark, file);
  if (std::string_view(mark, size) != kByteOrderMark) std::rewind(file);
  const EOutcome outcome = reader->ReadRecord(error);
  if (outcome == kBad) return nullptr;
  reader->header = std::exchange(reader->fields, {});
  if (outcome == kEnd || (reader->header.size() == 1 && reader->header[0].empty())) {
    *error = path + ": expected a line of column names, found nothing";
    return nullptr;
  }
  for (const std::string& name : reader->header) {
    if (reader->columns.emplace(name, reader->columns.size()).second) continue;
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
  return kBad;
}

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
  const auto bad = [&](const char* problem) {
    *error = Complaint(problem);
    return kBad;
  };
  std::string* field = begin();
  enum { kStart, kPlain, kQuoted, kAfterQuoted } state = kStart;
  for (int c = std::getc(file.get());; c = std::getc(file.get())) {
    if (++size > kLongestCsvRecord) return bad("the line is longer than 16 MiB");
    if (c == EOF) {
      if (std::ferror(file.get()) != 0) return bad("can't be read any further");
      if (state == kQuoted) return bad("a quoted field has no end");
      if (size == 1) return kEnd;
      break;
    }
    if (c == '\n') ++nextLine;
    if (state == kQuoted) {
      if (c == '"') {
        state = kAfterQuoted;
      } else {
        *field += static_cast<char>(c);
      }
    } else if (c == '\n') {
      if (state == kPlain && !field->empty() && field->back() == '\r') field->pop_back();
      break;
    } else if (c == ',') {
      if (count == kMostCsvFields) return bad("the line has more than 1048576 fields");
      field = begin();
      state = kStart;
    } else if (c == '"' && state == kStart) {
      state = kQuoted;
    } else if (c == '"' && state == kAfterQuoted) {
      *field += '"';
      state = kQuoted;
    } else if (state == kAfterQuoted) {
      if (c != '\r') return bad("expected a comma or the line's end behind a quoted field");
    } else if (c == '"') {
      return bad("a quote inside a field that is not quoted");
    } else {
      *field += static_cast<char>(c);
      state = kPlain;
    }
  }
  fields.resize(count);
  return kRow;
}

bool CCsvReader::Number(std::size_t column, double* value, std::string* error) const {
  const std::string& text = fields[column];
  const char* const end = text.data() + text.size();
  const auto [stop, status] = std::from_chars(text.data(), end, *value);
  if (status == std::errc() && stop == end && std::isfinite(*value)) return true;
  *error = Complaint(column, "expected a number, found \"" + text + "\"");
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
