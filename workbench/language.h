// The language of what the program prints and draws. The plug-in's texts and the host's
// messages are Czech, the others English: they are translated where they leave.
#ifndef LOOPBOX_WORKBENCH_LANGUAGE_H
#define LOOPBOX_WORKBENCH_LANGUAGE_H

#include <set>
#include <string>
#include <vector>

namespace workbench {

// The names of those that are there; cs is one without a file too, though then only the
// plug-in's texts are in it.
std::set<std::string> Languages(const std::string& pluginPath);

// The files of a language for runtime::SetLanguage: each NAME.lang beside the program's own plug-in and beside this
// one. An empty name stands for cs where the environment (LC_ALL, LC_MESSAGES, LANG, the first that is set) says so,
// else for en. False with a message when there is no language of that name.
bool FindLanguage(const std::string& name, const std::string& pluginPath, std::vector<std::string>* files,
                  std::string* error);

}  // namespace workbench

#endif
