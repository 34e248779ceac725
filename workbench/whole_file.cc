#include "workbench/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace workbench {
namespace {

bool WriteAll(int descriptor, const std::string& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

bool WriteDirectly(const std::string& name, const std::string& bytes) {
  const int descriptor = open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return false;
  const bool written = WriteAll(descriptor, bytes);
  const int problem = errno;
  const bool closed = close(descriptor) == 0;
  if (!written) errno = problem;
  return written && closed;
}

// Through a file beside it, which takes its place when it is whole.
bool Replace(const std::string& name, mode_t mode, const std::string& bytes) {
  std::string temporary = name + ".XXXXXX";
  const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool written = WriteAll(descriptor, bytes) && fchmod(descriptor, mode) == 0 && fsync(descriptor) == 0;
  int problem = errno;
  const bool closed = close(descriptor) == 0;
  if (written && !closed) problem = errno;
  if (written && closed) {
    if (std::rename(temporary.c_str(), name.c_str()) == 0) return true;
    problem = errno;
  }
  unlink(temporary.c_str());
  errno = problem;
  return false;
}

mode_t ModeOfNewFiles() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

bool WriteWholeFile(const std::string& name, const std::string& bytes, std::string* error) {
  std::error_code ignored;
  const std::filesystem::path aim = std::filesystem::weakly_canonical(name, ignored);  // links stay
  struct stat status;
  const bool exists = stat(name.c_str(), &status) == 0;
  bool written = false;
  if (exists && !S_ISREG(status.st_mode)) {
    written = WriteDirectly(name, bytes);
  } else if (!exists || access(name.c_str(), W_OK) == 0) {
    written = Replace(aim.empty() ? name : aim.string(), exists ? status.st_mode & 07777 : ModeOfNewFiles(), bytes);
  }
  if (!written) *error = name + ": can't be written: " + std::strerror(errno);
  return written;
}

}  // namespace workbench
