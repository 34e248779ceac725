#include "runtime/platform/disk.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace runtime {

int CDisk::Open(int folder, const std::string& name, int flags, mode_t mode) {
  return openat(folder, name.c_str(), flags | O_CLOEXEC, mode);
}

int CDisk::OpenBeneath(int folder, const std::string& path) {
  open_how how = {};
  how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH;
  return static_cast<int>(syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how));
}

ssize_t CDisk::Read(int descriptor, void* bytes, std::size_t count) { return read(descriptor, bytes, count); }
ssize_t CDisk::Write(int descriptor, const void* bytes, std::size_t count) { return write(descriptor, bytes, count); }
int CDisk::SetOwner(int descriptor, uid_t user, gid_t group) { return fchown(descriptor, user, group); }
int CDisk::SetMode(int descriptor, mode_t mode) { return fchmod(descriptor, mode); }
int CDisk::Flush(int descriptor) { return fsync(descriptor); }
int CDisk::Close(int descriptor) { return close(descriptor); }
int CDisk::Rename(int folder, const std::string& from, const std::string& to) {
  return renameat(folder, from.c_str(), folder, to.c_str());
}
int CDisk::Remove(int folder, const std::string& name) { return unlinkat(folder, name.c_str(), 0); }

CDisk& SystemDisk() {
  static CDisk disk;
  return disk;
}

CDescriptor& CDescriptor::operator=(CDescriptor&& other) noexcept {
  std::swap(number, other.number);
  return *this;
}

CDescriptor::~CDescriptor() {
  if (IsOpen()) close(number);
}

int CDescriptor::Release() { return std::exchange(number, -1); }

}  // namespace runtime
