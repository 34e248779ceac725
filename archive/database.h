// A file of SQLite, and statements on it.
#ifndef LOOPBOX_ARCHIVE_DATABASE_H
#define LOOPBOX_ARCHIVE_DATABASE_H

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace archive {

// Inside this room what goes wrong is thrown, with a message that names the file, and
// caught at its faces.
struct TFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class CDatabase {
 public:
  enum EAccess : std::uint8_t { kRead, kWrite };

  // Writing makes the file where there is none. A reader trusts nothing in it.
  CDatabase(std::string thePath, EAccess access);
  ~CDatabase();
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;

  const std::string& Path() const { return path; }
  sqlite3* Handle() const { return handle; }
  void Execute(const char* text);
  // How much longer than `seconds` none waits for another process's lock.
  void SetPatience(double seconds);
  std::int64_t LastRow() const;
  [[noreturn]] void Fail() const;  // with what went wrong last
  [[noreturn]] void Damaged(const std::string& what) const;

 private:
  std::string path;
  sqlite3* handle = nullptr;
};

// One at a time is bound, stepped to its end, or reset.
class CStatement {
 public:
  CStatement(const CDatabase& theDatabase, const char* text);
  ~CStatement();
  CStatement(const CStatement&) = delete;
  CStatement& operator=(const CStatement&) = delete;

  // Its arguments, from the first.
  template <typename... TValues>
  CStatement& With(const TValues&... values) {
    Reset();
    int number = 0;
    (Bind(++number, values), ...);
    return *this;
  }
  // Whether there is a row.
  bool Step();
  // Steps to the end.
  void Do() {
    while (Step()) {
    }
  }
  void Reset();

  std::int64_t Integer(int column) const;
  // At least `least`, at most `most`; else the file is damaged.
  std::uint64_t Whole(int column, std::uint64_t most) const;
  double Real(int column) const;  // NaN for none
  std::string Text(int column) const;
  std::span<const std::uint8_t> Bytes(int column) const;  // until the next step

 private:
  void Bind(int number, std::int64_t value);
  void Bind(int number, std::uint64_t value) { Bind(number, static_cast<std::int64_t>(value)); }
  void Bind(int number, int value) { Bind(number, std::int64_t{value}); }
  void Bind(int number, double value);
  void Bind(int number, const std::string& text);
  void Bind(int number, std::span<const std::uint8_t> bytes);

  const CDatabase& database;
  sqlite3_stmt* handle = nullptr;
};

}  // namespace archive

#endif
