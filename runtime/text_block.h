// Where blocks and entries stand in a text, before anybody reads them.
#ifndef LOOPBOX_RUNTIME_TEXT_BLOCK_H
#define LOOPBOX_RUNTIME_TEXT_BLOCK_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/text/lexer.h"

namespace runtime {

struct TTextBlock {
  std::uint32_t header;  // offset of the keyword
  std::uint32_t begin;   // of what stands inside
  std::uint32_t end;     // of the keyword that closes it
};

// Goes on behind the block whose keyword was taken last. They throw TTextError where
// it isn't closed.
TTextBlock SkipBlock(CLexer& lexer, std::uint32_t header, std::string_view endKeyword);
// A script follows its own rules, up to a line that begins with end_script.
TTextBlock SkipScript(CLexer& lexer, std::string_view text, const TLexeme& keyword);

// Says that no block begins so.
[[noreturn]] void FailNoBlock(const TLexeme& keyword);

// One entry of a definition: `keyword = value;` or `keyword;`.
struct TEntryPlace {
  std::string block;  // "parameters", "value_section", …; empty at the top
  std::string keyword;
  std::uint32_t offset;  // of the keyword
  bool hasValue = false;
  std::uint32_t begin = 0;  // of the value
  std::uint32_t end = 0;
};

// Those between two offsets.
std::vector<TEntryPlace> EntriesOf(const CSource& source, std::uint32_t begin, std::uint32_t end);

// Where a word of a definition stands.
struct TWordPlace {
  std::optional<TEntryPlace> block;  // that is open there; none at the top
  std::string valueOf;               // the keyword before "="; empty: it isn't behind one
};

// Of the word at `place` in the definition that begins at `begin`, whose form is
// right up to there.
TWordPlace PlaceInDefinition(const CSource& source, std::uint32_t begin, std::uint32_t place);

}  // namespace runtime

#endif
