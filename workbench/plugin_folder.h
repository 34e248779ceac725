// Where the plug-in is, and what stands beside it: the reference of each class,
// CLASS.ref, and the languages, NAME.lang.
#ifndef LOOPBOX_WORKBENCH_PLUGIN_FOLDER_H
#define LOOPBOX_WORKBENCH_PLUGIN_FOLDER_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/reference.h"

namespace workbench {

// The path itself, or that of the program's own plug-in when it is empty: beside
// the program, or, once that is installed, in the libraries' folder.
std::string PluginPath(const std::string& path);
// The plug-in at that path. Null after printing why; a crash while it is loaded
// ends the program with a message that names it.
std::unique_ptr<runtime::CPlugin> LoadPlugin(const std::string& path);

// The reference of a class of the plug-in at that path; none when there is no
// such file. False with a message when the file is wrong.
bool LoadReference(const std::string& plugin, const std::string& className, std::optional<CReference>* reference,
                   std::string* error);
// CApplication::Read; a crash meanwhile ends the program with a message that
// names the file and the plug-in.
std::unique_ptr<runtime::CApplication> ReadApplication(const runtime::TReadOptions& options, runtime::CPlugin& plugin,
                                                       std::vector<runtime::TDiagnostic>* diagnostics);

// The reference of each class of the plug-in. A class without a file has none;
// false with a message when a file is wrong.
using TReferences = std::map<std::string, CReference>;
bool LoadReferences(const runtime::CPlugin& plugin, TReferences* references, std::string* error);

}  // namespace workbench

#endif
