#include "runtime/platform/disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace runtime {

int CDisk::Open(const std::string& path, int flags) {
  constexpr mode_t kMode = 0666;  // less the process's mask
  return open(path.c_str(), flags | O_CLOEXEC, kMode);
}

ssize_t CDisk::Read(int descriptor, void* bytes, std::size_t count) { return read(descriptor, bytes, count); }
ssize_t CDisk::Write(int descriptor, const void* bytes, std::size_t count) { return write(descriptor, bytes, count); }
int CDisk::Flush(int descriptor) { return fsync(descriptor); }
int CDisk::Close(int descriptor) { return close(descriptor); }
int CDisk::Rename(const std::string& from, const std::string& to) { return std::rename(from.c_str(), to.c_str()); }
int CDisk::Remove(const std::string& path) { return unlink(path.c_str()); }

CDisk& SystemDisk() {
  static CDisk disk;
  return disk;
}

}  // namespace runtime
