// What the file service asks of the system and the system may refuse: the seam
// at which a test puts faults.
#ifndef LOOPBOX_RUNTIME_PLATFORM_DISK_H
#define LOOPBOX_RUNTIME_PLATFORM_DISK_H

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace runtime {

// Each operation is one system call, with its results and errno; descriptors
// are the system's.
class CDisk {
 public:
  virtual ~CDisk() = default;

  virtual int Open(const std::string& path, int flags);  // new files with all rights that the process's mask leaves
  virtual ssize_t Read(int descriptor, void* bytes, std::size_t count);
  virtual ssize_t Write(int descriptor, const void* bytes, std::size_t count);
  virtual int Flush(int descriptor);
  virtual int Close(int descriptor);
  virtual int Rename(const std::string& from, const std::string& to);
  virtual int Remove(const std::string& path);
};

CDisk& SystemDisk();

}  // namespace runtime

#endif
