#include "workbench/run/trace_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace workbench {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 20;

std::string ErrorText(int error) { return error != 0 ? std::string(": ") + std::strerror(error) : std::string(); }

}  // namespace

CTraceFile::~CTraceFile() {
  trace.reset();
  if (file != nullptr && file != stdout) std::fclose(file);
}

bool CTraceFile::Open(const std::string& name, runtime::CApplication& application,
                      const std::vector<runtime::TStateColumn>& state, std::string* error) {
  if (name == kStandardOutput) {
    shownName = "standard output";
    file = stdout;
  } else {
    shownName = name;
    errno = 0;
    file = std::fopen(name.c_str(), "wb");
    if (file == nullptr) {
      *error = name + ": the trace can't be written" + ErrorText(errno);
      return false;
    }
    buffer.resize(kBufferSize);
    std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
  }
  trace.emplace(application, state, file);
  return true;
}

std::string CTraceFile::Loss() const { return shownName + ": the trace is not complete" + ErrorText(firstError); }

bool CTraceFile::Flush(std::string* error) {
  errno = 0;
  if (trace->Flush() && !Failed()) return true;
  if (firstError == 0) firstError = errno;
  *error = Loss();
  return false;
}

bool CTraceFile::Close(std::string* error) {
  const bool flushed = Flush(error);
  trace.reset();
  if (file == stdout) return flushed;
  errno = 0;
  const bool closed = std::fclose(std::exchange(file, nullptr)) == 0;
  if (!closed && firstError == 0) firstError = errno;
  if (flushed && !closed) *error = Loss();
  if (!flushed || !closed) CutToWholeRows();
  return flushed && closed;
}

void CTraceFile::CutToWholeRows() const {
  const std::filesystem::path path = shownName;
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return;
  std::ifstream rows(path, std::ios::binary);
  std::uintmax_t size = std::filesystem::file_size(path, error);
  while (size > 0 && rows.seekg(static_cast<std::streamoff>(size - 1)) && rows.peek() != '\n') --size;
  if (!error) std::filesystem::resize_file(path, size, error);
}

}  // namespace workbench
