// The system's own texts in the language that was chosen.
//
// The plug-in's texts and the host's messages are Czech, the others English. A
// language file says what stands in their place, as entries
//
//   "Chybná verze rozhraní" = "Wrong interface version";
//   "regulators._DescriptionOfWishValuePane" = "Set point";
//   "'{a}' is written by {1} and by {2}" = "'{a}' zapisuje {1} i {2}";
//
// with the strings and comments of an application's text. A key is a text, with
// holes as in runtime/text/phrases.h, or the GROUP.KEY with which a plug-in asks
// for a message. Texts without an entry stay as they are.
#ifndef LOOPBOX_RUNTIME_PLATFORM_MESSAGES_H
#define LOOPBOX_RUNTIME_PLATFORM_MESSAGES_H

#include <string>
#include <string_view>

#include "runtime/text/phrases.h"

namespace runtime {

// False with a message that names the file, and the line when that is wrong.
bool ReadMessageTable(const std::string& path, TMessageTable* table, std::string* error);
// Empty at first, which leaves all texts as they are.
void SetMessageTable(TMessageTable table);

std::string MessageKey(std::string_view group, std::string_view key);  // GROUP.KEY

}  // namespace runtime

#endif
