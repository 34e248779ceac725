// The system's own texts in another language.
//
// The plug-in's texts and the host's messages are Czech. A language file says
// what stands in their place, as entries
//
//   "Chybná verze rozhraní" = "Wrong interface version";
//   "regulators._DescriptionOfWishValuePane" = "Set point";
//
// with the strings and comments of an application's text. A key is a Czech
// text, or the GROUP.KEY with which a plug-in asks for a message. Texts without
// an entry stay as they are.
#ifndef LOOPBOX_RUNTIME_PLATFORM_MESSAGES_H
#define LOOPBOX_RUNTIME_PLATFORM_MESSAGES_H

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace runtime {

using TMessageTable = std::map<std::string, std::string, std::less<>>;

// False with a message that names the file, and the line when that is wrong.
bool ReadMessageTable(const std::string& path, TMessageTable* table, std::string* error);
// Empty at first, which leaves all texts Czech.
void SetMessageTable(TMessageTable table);

std::string MessageKey(std::string_view group, std::string_view key);  // GROUP.KEY

// The text, or what follows one of its ": ", in the language of the table:
// messages are put together so ("line 4: Index mimo rozsah"). Texts are put
// into a language only where they leave the runtime: what a script can read
// stays Czech, so that no run depends on the language.
std::string Translated(std::string text);

}  // namespace runtime

#endif
