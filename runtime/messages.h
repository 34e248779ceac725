// Messages by group and key, and their translations.
#ifndef LOOPBOX_RUNTIME_MESSAGES_H
#define LOOPBOX_RUNTIME_MESSAGES_H

#include <map>
#include <string>
#include <string_view>

namespace runtime {

// Texts that the message scanner gives in place of the callers' defaults, by
// MessageKey. Empty at first.
using TMessageTable = std::map<std::u16string, std::u16string>;

std::u16string MessageKey(std::u16string_view group, std::u16string_view key);  // GROUP.KEY
void SetMessageTable(TMessageTable table);

}  // namespace runtime

#endif
