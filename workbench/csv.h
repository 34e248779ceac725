// CSV as RFC 4180 has it, read record by record: quoted fields may hold commas,
// doubled quotes and line ends. Lines end with LF or CRLF; a byte order mark at
// the start is passed over. Where the first sign between names is a semicolon, it
// separates fields, and numbers may have a decimal comma. Memory is that of the
// longest record.
#ifndef LOOPBOX_WORKBENCH_CSV_H
#define LOOPBOX_WORKBENCH_CSV_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace workbench {

constexpr char kStandardInput[] = "-";                            // as a file's name
constexpr std::size_t kLongestCsvRecord = std::size_t{16} << 20;  // bytes
constexpr std::size_t kMostCsvFields = std::size_t{1} << 20;      // of a record

// The bytes of a file or a pipe, in order.
class CBytes {
 public:
  explicit CBytes(int descriptor) : file(descriptor) {}
  CBytes(const CBytes&) = delete;
  CBytes& operator=(const CBytes&) = delete;
  ~CBytes();

  static constexpr int kEnd = -1;
  // The next one; kEnd where there is none, it can't be read, or the program was
  // interrupted while it waited.
  int Next() {
    if (at == bytes.size() && !Fill(true)) return kEnd;
    return static_cast<unsigned char>(bytes[at++]);
  }
  bool Failed() const { return failed; }
  // Whether a whole record, or the end, can be read without waiting.
  bool HasRecord();
  void SkipByteOrderMark();

 private:
  // False when nothing came.
  bool Fill(bool waits);

  int file;
  std::string bytes;  // read and, from `at` on, not taken yet
  std::size_t at = 0;
  bool ended = false;
  bool failed = false;
};

class CCsvReader {
 public:
  // Reads the header, which names at least one column and none twice. "-" is
  // standard input. Null with a message that names the file.
  static std::unique_ptr<CCsvReader> Open(const std::string& path, std::string* error);

  const std::vector<std::string>& Header() const { return header; }
  // The column of that name; -1: none.
  std::ptrdiff_t Column(const std::string& name) const;

  // kWrong: the record is no row, and the next may be; kBad: nothing can be read any
  // more.
  enum EOutcome { kRow, kEnd, kWrong, kBad };
  // The next record, of as many fields as the header; kWrong and kBad with a whole
  // message. Empty lines are passed over.
  EOutcome Next(std::string* error);
  // Whether Next needs no waiting.
  bool IsReady() { return bytes.HasRecord(); }
  const std::string& Field(std::size_t column) const { return fields[column]; }
  // The field as numbers are written elsewhere: without blanks around it, and with a
  // point where it has a decimal comma.
  std::string NumberText(std::size_t column) const;
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
  static constexpr int kUnknown = -2;

  CCsvReader(std::string path, int descriptor);
  EOutcome ReadRecord(std::string* error);

  std::string path;
  CBytes bytes;
  int separator = kUnknown;  // a character
  std::vector<std::string> header;
  std::map<std::string, std::size_t> columns;  // of the header, by name
  std::vector<std::string> fields;
  std::uint64_t line = 0;      // of the record read last, from 1
  std::uint64_t nextLine = 1;  // of the one behind it
};

}  // namespace workbench

#endif
