// CSV as RFC 4180 has it, read record by record: quoted fields may hold commas,
// doubled quotes and line ends. Lines end with LF or CRLF; a byte order mark at
// the start is passed over. Memory is that of the longest record.
#ifndef LOOPBOX_WORKBENCH_CSV_H
#define LOOPBOX_WORKBENCH_CSV_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace workbench {

constexpr std::size_t kLongestCsvRecord = std::size_t{16} << 20;  // bytes
constexpr std::size_t kMostCsvFields = std::size_t{1} << 20;      // of a record

class CCsvReader {
 public:
  // Reads the header, which names at least one column and none twice, of a
  // regular file. Null with a message that names the file.
  static std::unique_ptr<CCsvReader> Open(const std::string& path, std::string* error);

  const std::vector<std::string>& Header() const { return header; }
  // The column of that name; -1: none.
  std::ptrdiff_t Column(const std::string& name) const;

  enum EOutcome { kRow, kEnd, kBad };
  // The next record, of as many fields as the header; kBad with a whole
  // message. Empty lines are passed over.
  EOutcome Next(std::string* error);
  const std::string& Field(std::size_t column) const { return fields[column]; }
  // A finite number that is the whole field, as a trace writes it; else false
  // with a whole message.
  bool Number(std::size_t column, double* value, std::string* error) const;
  // The same for a time in seconds that comes after *time.
  bool Later(std::size_t column, double* time, std::string* error) const;
  // "PATH:LINE: column NAME: problem", of the record read last.
  std::string Complaint(std::size_t column, const std::string& problem) const;
  // "PATH:LINE: problem".
  std::string Complaint(const std::string& problem) const;

 private:
  struct TClose {
    void operator()(std::FILE* closed) const { std::fclose(closed); }
  };

  CCsvReader(std::string path, std::FILE* file);
  EOutcome ReadRecord(std::string* error);

  std::string path;
  std::unique_ptr<std::FILE, TClose> file;
  std::vector<std::string> header;
  std::map<std::string, std::size_t> columns;  // of the header, by name
  std::vector<std::string> fields;
  std::uint64_t line = 0;      // of the record read last, from 1
  std::uint64_t nextLine = 1;  // of the one behind it
};

}  // namespace workbench

#endif
