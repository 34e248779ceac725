// Names of files below a folder, resolved by descriptors: whatever becomes a link
// meanwhile, nothing above the folder or beside it is reached.
#ifndef LOOPBOX_RUNTIME_PLATFORM_BENEATH_H
#define LOOPBOX_RUNTIME_PLATFORM_BENEATH_H

#include <string>

#include "runtime/platform/disk.h"

namespace runtime {

// A folder below `root`, for names and not for reading; without one, errno says
// why: EXDEV where the path leads out of `root`, by "..", by a link, or since a
// link is absolute. Where the system has no call for it (CDisk::OpenBeneath), the
// path is walked.
CDescriptor OpenFolderBeneath(CDisk& disk, int root, const std::string& path);

// Where a file is or would be: its name in a folder, which is no link.
struct TPlaceBeneath {
  CDescriptor folder;
  std::string name;
};
// False with errno when the path leads to no such place.
bool FindBeneath(CDisk& disk, int root, std::string path, TPlaceBeneath* place);

// Makes the folders of a path without "..", those that are missing.
void MakeFoldersBeneath(CDisk& disk, int root, const std::string& path);

}  // namespace runtime

#endif
