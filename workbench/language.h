// The language of the system's own texts: the plug-in's, and the messages of a
// run. The program itself speaks English.
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
// stands for the environment's language (LC_ALL, LC_MESSAGES, LANG, the first
// that is set) when that is en and there, else for cs. False with a message when
// there is no language of that name.
bool FindLanguage(const std::string& name, const std::string& pluginPath, std::vector<std::string>* files,
                  std::string* error);

}  // namespace workbench

#endif
