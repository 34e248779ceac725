// The references that stand beside a plug-in, one file CLASS.ref for each class.
#ifndef LOOPBOX_WORKBENCH_REFERENCES_H
#define LOOPBOX_WORKBENCH_REFERENCES_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "panel/definition.h"
#include "runtime/runtime.h"
#include "workbench/reference.h"

namespace workbench {

// The reference of a class of the plug-in at that path; none when there is no
// such file. False with a message when the file is wrong.
bool LoadReference(const std::string& plugin, const std::string& className, std::optional<CReference>* reference,
                   std::string* error);

// By class, of those that have one.
using TReferences = std::map<std::string, CReference>;

// Those of all classes of the plug-in. False with a message when a file is
// wrong.
bool LoadReferences(const runtime::CPlugin& plugin, TReferences* references, std::string* error);

// The words of the class by its reference; none where it has none.
std::vector<runtime::TClassWord> WordsOf(const TReferences& references, const std::string& className);

// By class, of those that have parameters which an operator may set as a whole.
panel::TParameterSets ParameterSetsOf(const TReferences& references);

// Null when the class has none.
const CReference* ReferenceOf(const TReferences& references, const std::string& className);

}  // namespace workbench

#endif
