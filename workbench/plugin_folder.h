// Where the plug-in is, and what stands beside it.
#ifndef LOOPBOX_WORKBENCH_PLUGIN_FOLDER_H
#define LOOPBOX_WORKBENCH_PLUGIN_FOLDER_H

#include <map>
#include <memory>
#include <string>

#include "runtime/runtime.h"
#include "workbench/reference.h"

namespace workbench {

// The plug-in at `path`, or the one beside the program when that is empty.
// Null after printing why.
std::unique_ptr<runtime::CPlugin> LoadPlugin(const std::string& path);

// The reference of each class of the plug-in. A class without a file has none;
// false with a message when a file is wrong.
using TReferences = std::map<std::string, CReference>;
bool LoadReferences(const runtime::CPlugin& plugin, TReferences* references, std::string* error);

}  // namespace workbench

#endif
