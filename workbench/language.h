// The language of what the program shows of the plug-in and of a run: their own
// texts are Czech, and are translated when they are printed.
#ifndef LOOPBOX_WORKBENCH_LANGUAGE_H
#define LOOPBOX_WORKBENCH_LANGUAGE_H

#include <set>
#include <string>
#include <vector>

namespace workbench {

// The names of those that are there, with cs, the texts' own.
std::set<std::string> Languages(const std::string& pluginPath);

// The files of a language for runtime::SetLanguage: none of cs, else each
// NAME.lang beside the program's own plug-in and beside this one. An empty name
// stands for cs where the environment (LC_ALL, LC_MESSAGES, LANG, the first that
// is set) says so, else for en. False with a message when there is no language of
// that name.
bool FindLanguage(const std::string& name, const std::string& pluginPath, std::vector<std::string>* files,
                  std::string* error);

}  // namespace workbench

#endif
