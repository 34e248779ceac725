// Files that are written whole or not at all.
#ifndef LOOPBOX_WORKBENCH_WHOLE_FILE_H
#define LOOPBOX_WORKBENCH_WHOLE_FILE_H

#include <string>

namespace workbench {

// The bytes take the place of the file that the name leads to, at once; it keeps its
// mode. Pipes and devices get them as they are. False with a message that names the
// file; then a file that was there is what it was.
bool WriteWholeFile(const std::string& name, const std::string& bytes, std::string* error);

}  // namespace workbench

#endif
