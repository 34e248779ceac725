#include "runtime/platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "runtime/platform/disk.h"

namespace runtime {

bool IsRegularFile(const std::string& path, std::string* problem) {
  // Opening alone would make some devices do something.
  struct stat status;
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    *problem = S_ISDIR(status.st_mode) ? "is a directory" : "is no regular file";
    return false;
  }
  const CDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (file.IsOpen()) return true;
  *problem = std::string("cannot be opened: ") + std::strerror(errno);
  return false;
}

}  // namespace runtime
