// Where the plug-in is. Beside it stand the reference of each class, CLASS.ref
// (references.h), and the languages, NAME.lang (language.h).
#ifndef LOOPBOX_WORKBENCH_PLUGIN_FOLDER_H
#define LOOPBOX_WORKBENCH_PLUGIN_FOLDER_H

#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace workbench {

// The path itself, or that of the program's own plug-in when it is empty: beside
// the program, or, once that is installed, in the libraries' folder.
std::string PluginPath(const std::string& path);

// CPlugin::Load of that path. A crash meanwhile ends the program with a message
// that names the plug-in.
std::unique_ptr<runtime::CPlugin> LoadPlugin(const std::string& path, std::string* error);

// CApplication::Read. A crash meanwhile ends the program with a message that
// names the file and the plug-in.
std::unique_ptr<runtime::CApplication> ReadApplication(const runtime::TReadOptions& options, runtime::CPlugin& plugin,
                                                       std::vector<runtime::TDiagnostic>* diagnostics);

}  // namespace workbench

#endif
