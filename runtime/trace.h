// The trace of a run as CSV.
#ifndef LOOPBOX_RUNTIME_TRACE_H
#define LOOPBOX_RUNTIME_TRACE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"

namespace runtime {

// A further column for each instrument that offers it: the value of one
// argument of a procedure after the call; empty where the name does not
// resolve at that moment.
struct TStateColumn {
  std::string className;
  std::string name;
  std::string procedure;
  std::size_t argument = 0;
  std::size_t argumentCount = 1;
  bool negate = false;
};

// CSV of RFC 4180: `time`, the data elements in order of declaration, then
// the columns of links, NAME.wish_value, NAME.value, NAME.output of each instrument with panes
// (NAME.value of a meter) and its state columns. Numbers are the shortest
// decimals that read back as the same double.
class CTrace {
 public:
  // Writes the header line. The file stays the caller's; null for who takes the
  // rows as numbers.
  CTrace(CApplication& application, const std::vector<TStateColumn>& state, std::FILE* file);
  void WriteRow();
  // The columns' names, and what they hold now, in the order of the file: a number
  // for each name, NaN where a state column is empty and for a link's text.
  const std::vector<std::string>& Names() const { return names; }
  void ReadRow(double* values) const;
  // Everything written so far is in the file; false when something was lost.
  bool Flush();

 private:
  // A value where it stands, or a further column of an instrument.
  struct TColumn {
    enum EKind : std::uint8_t { kReal, kBoolean, kInteger, kState, kLink };
    EKind kind;
    const void* value;      // of its kind; null: of none
    std::size_t state = 0;  // number of the further column, or of the link's
    // The number that was written last, and how: many stay as they are.
    double last = 0.0;
    char lastText[24] = {'0'};
    std::uint8_t lastLength = 1;
  };

  static char* PutNumber(TColumn& column, double value, char* end);

  bool CallFor(const TColumn& column, double* value) const;
  char* PutState(const TColumn& column, char* end) const;
  char* PutLinked(const TColumn& column, char* end) const;
  void Write(std::size_t size);

  CApplication& application;
  std::vector<std::string> names;
  std::vector<TColumn> columns;
  std::vector<std::pair<CInstrumentHandle, TStateColumn>> state;
  std::vector<std::pair<const CDataLink*, std::size_t>> linked;  // and the number of its column
  std::FILE* file;
  std::string row;  // with room for a whole one
  bool failed = false;
};

}  // namespace runtime

#endif
