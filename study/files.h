// The files of a study: written whole or not at all, read line by line.
#ifndef LOOPBOX_STUDY_FILES_H
#define LOOPBOX_STUDY_FILES_H

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace study {

// A file that is not there before Finish, which puts it into place at once.
class CWholeFile {
 public:
  explicit CWholeFile(std::string theName);
  CWholeFile(const CWholeFile&) = delete;
  CWholeFile& operator=(const CWholeFile&) = delete;
  ~CWholeFile();  // without Finish nothing stays

  void Write(std::string_view bytes);
  // False with a message that names the file.
  bool Finish(std::string* error);

 private:
  std::string name;
  std::string unfinished;  // its name until then
  std::FILE* file;
};

bool WriteFile(const std::string& name, std::string_view bytes, std::string* error);
// None with a message that names the file.
std::optional<std::string> ReadFile(const std::string& name, std::string* error);

// The rows of a table, `NUMBER,…` with rising numbers below a heading. Fields have no
// quotes.
class CRows {
 public:
  explicit CRows(const std::string& name);
  CRows(const CRows&) = delete;
  CRows& operator=(const CRows&) = delete;
  ~CRows();

  bool IsOpen() const { return file != nullptr; }
  // Goes to the row of that number, or to the first behind it.
  void Seek(std::uint64_t number);
  // False at the end, and at what is no row.
  bool Next();
  std::uint64_t Number() const { return number; }
  const std::string& Line() const { return line; }  // whole, without its end
  // Behind the number; of more than `count` the last keeps what commas it has.
  std::vector<std::string_view> Fields(std::size_t count) const;

 private:
  bool TakeLine();

  std::FILE* file;
  std::string line;
  std::uint64_t number = 0;
};

// A field that may hold anything, as RFC 4180 has it.
std::string Quoted(std::string_view text);

}  // namespace study

#endif
