// The file that a trace goes to.
#ifndef LOOPBOX_WORKBENCH_RUN_TRACE_FILE_H
#define LOOPBOX_WORKBENCH_RUN_TRACE_FILE_H

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "runtime/trace.h"

namespace workbench {

constexpr char kStandardOutput[] = "-";  // as a file's name

class CTraceFile {
 public:
  CTraceFile() = default;
  ~CTraceFile();
  CTraceFile(const CTraceFile&) = delete;
  CTraceFile& operator=(const CTraceFile&) = delete;

  // Makes the file, or takes standard output for kStandardOutput, and writes the
  // header. False with a message that names the file.
  bool Open(const std::string& name, runtime::CApplication& application,
            const std::vector<runtime::TStateColumn>& state, std::string* error);
  bool IsOpen() const { return trace.has_value(); }
  void WriteRow() {
    trace->WriteRow();
    if (Failed() && firstError == 0) firstError = errno;
  }
  // Everything so far is in the file.
  bool Flush(std::string* error);
  // True when a row was lost: no more can be written.
  bool Failed() const { return std::ferror(file) != 0; }
  // Flush, and close a file that was opened. One that could not take all rows ends
  // with the last whole one.
  bool Close(std::string* error);

 private:
  std::string Loss() const;
  void CutToWholeRows() const;

  std::string shownName;
  std::FILE* file = nullptr;
  std::vector<char> buffer;
  int firstError = 0;  // errno of the first loss; what the run's end does may fail too
  std::optional<runtime::CTrace> trace;
};

}  // namespace workbench

#endif
