// The file service seen from the host's side.
#ifndef LOOPBOX_RUNTIME_PLATFORM_FILES_H
#define LOOPBOX_RUNTIME_PLATFORM_FILES_H

#include <string>
#include <string_view>

#include "host/runlib.h"
#include "runtime/platform/disk.h"

namespace runlib {

struct TFileContext {
  std::string folder;  // absolute and normalised, UTF-8; names start here
  runtime::CDisk* disk = &runtime::SystemDisk();
};

}  // namespace runlib

namespace runtime {

// A context of that folder; an empty name stands for the current one.
runlib::TFileContext MakeFileContext(std::string_view folder);

// Whether a name is absolute, or would lead out of the folder by ".." or by
// a symbolic link.
bool LeavesFolder(const runlib::TFileContext& context, std::u16string_view name);

// Whether all files, of whichever context, could be written since the last call;
// else false, with the last one that could not, and why.
bool CheckWrites(std::string* error);

}  // namespace runtime

#endif
