// The plug-in's images as files.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_CLASS_IMAGES_H
#define LOOPBOX_WORKBENCH_COMMANDS_CLASS_IMAGES_H

#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace workbench {

// Writes every image once, as PNG files in a folder, which is made if need be;
// `written` receives their names. False with a message.
bool WriteImages(const runtime::CPlugin& plugin, const std::string& folder, std::vector<std::string>* written,
                 std::string* error);

}  // namespace workbench

#endif
