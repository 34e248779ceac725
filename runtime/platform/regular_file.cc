#include "runtime/platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "runtime/platform/disk.h"

namespace runtime {

bool IsRegularFile(const std::string& path, std::string* problem) {
  const CDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status;
  if (!file.IsOpen() || fstat(file.Number(), &status) != 0) {
    *problem = std::string("cannot be opened: ") + std::strerror(errno);
    return false;
  }
  if (S_ISREG(status.st_mode)) return true;
  *problem = S_ISDIR(status.st_mode) ? "is a directory" : "is no regular file";
  return false;
}

}  // namespace runtime
