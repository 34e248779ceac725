// The language of the system's own texts: the plug-in's, and the messages of a
// run. The program itself speaks English.
#ifndef LOOPBOX_WORKBENCH_LANGUAGE_H
#define LOOPBOX_WORKBENCH_LANGUAGE_H

#include <set>
#include <string>

namespace workbench {

// The names of those that are there, with cs, the texts' own.
std::set<std::string> Languages(const std::string& pluginPath);

// Chooses a language by its name, before a plug-in is loaded: cs, or that of
// the files NAME.lang beside the program's own plug-in and beside this one,
// whose texts go first. An empty name: that of the environment (LC_ALL,
// LC_MESSAGES, LANG, the first that is set) when it is cs or en and there, else
// cs. Yields an exit status, kDone or another after printing why.
int ChooseLanguage(const std::string& name, const std::string& pluginPath);

}  // namespace workbench

#endif
