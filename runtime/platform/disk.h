// What the file service asks of the system and the system may refuse: the seam
// at which a test puts faults.
#ifndef LOOPBOX_RUNTIME_PLATFORM_DISK_H
#define LOOPBOX_RUNTIME_PLATFORM_DISK_H

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace runtime {

// Each operation is one system call, with its results and errno; descriptors
// are the system's, `folder` is that of a folder and may be AT_FDCWD.
class CDisk {
 public:
  virtual ~CDisk() = default;

  // `mode` is that of a new file, less the process's mask.
  virtual int Open(int folder, const std::string& name, int flags, mode_t mode = 0);
  // The folder of that relative path; links are followed as long as they stay
  // below the first folder, else EXDEV. ENOSYS where the system can't do that.
  virtual int OpenBeneath(int folder, const std::string& path);
  virtual ssize_t Read(int descriptor, void* bytes, std::size_t count);
  virtual ssize_t Write(int descriptor, const void* bytes, std::size_t count);
  virtual int SetOwner(int descriptor, uid_t user, gid_t group);
  virtual int SetMode(int descriptor, mode_t mode);
  virtual int Flush(int descriptor);
  virtual int Close(int descriptor);
  virtual int Rename(int folder, const std::string& from, const std::string& to);
  virtual int Remove(int folder, const std::string& name);
};

CDisk& SystemDisk();

// A descriptor that is closed with its object; -1 for none.
class CDescriptor {
 public:
  explicit CDescriptor(int theNumber = -1) : number(theNumber) {}
  CDescriptor(CDescriptor&& other) noexcept : number(other.Release()) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept;
  ~CDescriptor();

  bool IsOpen() const { return number >= 0; }
  int Number() const { return number; }
  int Release();

 private:
  int number;
};

}  // namespace runtime

#endif
