// The file service seen from the host's side.
#ifndef LOOPBOX_RUNTIME_PLATFORM_FILES_H
#define LOOPBOX_RUNTIME_PLATFORM_FILES_H

#include <set>
#include <string>
#include <string_view>

#include "host/runlib.h"
#include "runtime/platform/disk.h"

namespace runlib {

struct TFileContext {
  std::string folder;  // absolute and normalised, UTF-8; names start here
  runtime::CDisk* disk = &runtime::SystemDisk();
  // Files that are there and could not be read when they were to be, by their
  // paths from the folder: none of them is replaced.
  std::set<std::string> unread = {};
  // Files that were opened, and those that were replaced whole, by the names given.
  std::set<std::string> read = {};
  std::set<std::string> written = {};
};

}  // namespace runlib

namespace runtime {

// A context of that folder; an empty name stands for the current one.
runlib::TFileContext MakeFileContext(std::string_view folder);

// What is wrong with the name of a file; null when nothing is. It is absolute,
// would lead out of the folder by ".." or by a symbolic link, or is too long for
// the plug-in or the system.
const char* ProblemOfName(const runlib::TFileContext& context, std::u16string_view name);

// Whether all files, of whichever context, could be read and written since the
// last call; else false, with the last one that could not, and why.
bool CheckFiles(std::string* error);

}  // namespace runtime

#endif
