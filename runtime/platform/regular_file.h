// Files that are to be files: no pipe that nobody writes to, no device.
#ifndef LOOPBOX_RUNTIME_PLATFORM_REGULAR_FILE_H
#define LOOPBOX_RUNTIME_PLATFORM_REGULAR_FILE_H

#include <string>

namespace runtime {

// Whether a file can be opened for reading and is a regular one, without waiting
// for anything; else false, with what it is or why not.
bool IsRegularFile(const std::string& path, std::string* problem);

}  // namespace runtime

#endif
