// A file that takes another one's place whole, or not at all.
#ifndef LOOPBOX_RUNTIME_PLATFORM_REPLACEMENT_H
#define LOOPBOX_RUNTIME_PLATFORM_REPLACEMENT_H

#include <string>

#include "runtime/platform/beneath.h"

namespace runtime {

// What an error of the system means for a file below the application's folder.
std::string Reason(int error);

// The bytes go to a temporary file beside the other one, which keeps its rights
// and its owner: where it can't, as where it is read-only, it isn't replaced.
class CReplacement {
 public:
  // False with the reason when no file can be written there. What killed processes
  // left of earlier ones is removed.
  bool Begin(CDisk& disk, TPlaceBeneath place, std::string* why);
  // Its descriptor is for writing, and is closed when it ends.
  int Descriptor() const { return descriptor; }
  // Puts it in its place, flushed; false with the reason when that fails. Then, as
  // after Abandon, the other file is what it was.
  bool Finish(std::string* why);
  void Abandon();

 private:
  bool Examine(std::string* why);
  void RemoveLeftovers();
  int OpenTemporary();
  bool KeepRights(std::string* why);
  void FlushFolder();

  CDisk* disk = nullptr;
  TPlaceBeneath place;
  std::string temporary;  // its name
  int descriptor = -1;
  bool exists = false;  // the other file, with these rights:
  mode_t mode = 0666;
  uid_t user = 0;
  gid_t group = 0;
};

}  // namespace runtime

#endif
