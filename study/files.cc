#include "study/files.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <utility>

namespace study {

CWholeFile::CWholeFile(std::string theName)
    : name(std::move(theName)), unfinished(name + "." + std::to_string(getpid()) + ".new") {
  file = std::fopen(unfinished.c_str(), "wb");
}

CWholeFile::~CWholeFile() {
  if (file != nullptr) std::fclose(file);
  if (!unfinished.empty()) unlink(unfinished.c_str());
}

void CWholeFile::Write(std::string_view bytes) {
  if (file != nullptr) std::fwrite(bytes.data(), 1, bytes.size(), file);
}

bool CWholeFile::Finish(std::string* error) {
  bool isWhole = file != nullptr && std::fflush(file) == 0 && std::ferror(file) == 0 && fsync(fileno(file)) == 0;
  isWhole = isWhole && std::rename(unfinished.c_str(), name.c_str()) == 0;
  if (isWhole) unfinished.clear();
  if (!isWhole) *error = name + ": can't be written: " + std::strerror(errno);
  return isWhole;
}

bool WriteFile(const std::string& name, std::string_view bytes, std::string* error) {
  CWholeFile file(name);
  file.Write(bytes);
  return file.Finish(error);
}

std::optional<std::string> ReadFile(const std::string& name, std::string* error) {
  std::FILE* const file = std::fopen(name.c_str(), "rb");
  std::string bytes;
  if (file != nullptr) {
    char some[65536];
    for (std::size_t count = 0; (count = std::fread(some, 1, sizeof(some), file)) > 0;) bytes.append(some, count);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (!failed) return bytes;
  }
  *error = name + ": can't be read: " + std::strerror(errno);
  return std::nullopt;
}

CRows::CRows(const std::string& name) : file(std::fopen(name.c_str(), "rb")) {
  if (file != nullptr) TakeLine();
}

CRows::~CRows() {
  if (file != nullptr) std::fclose(file);
}

bool CRows::TakeLine() {
  line.clear();
  for (int c = std::getc(file); c != EOF; c = std::getc(file)) {
    if (c == '\n') return true;
    line.push_back(static_cast<char>(c));
  }
  return !line.empty();
}

bool CRows::Next() {
  if (file == nullptr || !TakeLine()) return false;
  const auto [end, status] = std::from_chars(line.data(), line.data() + line.size(), number);
  return status == std::errc() && (end == line.data() + line.size() || *end == ',');
}

// Rows are found by halves of the file: the one at a place is that which begins behind
// the next end of a line.
void CRows::Seek(std::uint64_t wanted) {
  if (file == nullptr) return;
  std::rewind(file);
  TakeLine();
  off_t low = ftello(file);  // a row begins here, of a number of at most that
  std::fseek(file, 0, SEEK_END);
  off_t high = ftello(file);
  while (high - low > 4096) {
    const off_t middle = low + (high - low) / 2;
    fseeko(file, middle, SEEK_SET);
    TakeLine();
    const off_t begin = ftello(file);
    if (Next() && number <= wanted) {
      low = begin;
    } else {
      high = middle;
    }
  }
  fseeko(file, low, SEEK_SET);
  for (off_t begin = low; Next(); begin = ftello(file)) {
    if (number < wanted) continue;
    fseeko(file, begin, SEEK_SET);
    return;
  }
}

std::vector<std::string_view> CRows::Fields(std::size_t count) const {
  std::vector<std::string_view> fields;
  std::string_view rest = line;
  while (fields.size() < count) {
    const std::size_t comma = rest.find(',');
    if (comma == std::string_view::npos) break;
    rest.remove_prefix(comma + 1);
    const bool isLast = fields.size() + 1 == count;
    fields.push_back(isLast ? rest : rest.substr(0, rest.find(',')));
  }
  return fields;
}

std::string Quoted(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace study
