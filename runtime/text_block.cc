#include "runtime/text_block.h"

#include <utility>

namespace runtime {

TTextBlock SkipBlock(CLexer& lexer, std::uint32_t header, std::string_view endKeyword) {
  TTextBlock block{header, lexer.Offset(), 0};
  for (;;) {
    const TLexeme& next = lexer.Peek();
    if (next.kind == ELexeme::kEnd) {
      throw TTextError{header, "this block is not closed: expected " + std::string(endKeyword)};
    }
    const bool closes = next.kind == ELexeme::kIdentifier && next.text == endKeyword;
    block.end = next.offset;
    lexer.Skip();
    if (closes) break;
  }
  lexer.Expect(";");
  return block;
}

TTextBlock SkipScript(CLexer& lexer, std::string_view text, const TLexeme& keyword) {
  constexpr std::string_view kEnd = "end_script";
  for (std::size_t line = text.find('\n', keyword.offset); line != std::string_view::npos;
       line = text.find('\n', line + 1)) {
    const std::size_t first = text.find_first_not_of(" \t\r", line + 1);
    if (first == std::string_view::npos || text.substr(first, kEnd.size()) != kEnd) continue;
    const TTextBlock block{keyword.offset, keyword.EndOffset(), static_cast<std::uint32_t>(first)};
    lexer.Seek(block.end);
    lexer.Expect(kEnd);
    lexer.Expect(";");
    return block;
  }
  throw TTextError{keyword.offset, "this block is not closed: expected a line with end_script"};
}

std::vector<TEntryPlace> EntriesOf(const CSource& source, std::uint32_t begin, std::uint32_t end) {
  std::vector<TEntryPlace> entries;
  CLexer lexer(source);
  lexer.Seek(begin);
  std::string block;
  while (lexer.Peek().offset < end && lexer.Peek().kind != ELexeme::kEnd) {
    const TLexeme keyword = lexer.Next();
    TEntryPlace entry{block, std::string(keyword.text), keyword.offset};
    if (lexer.TakeIf("=")) {
      entry.hasValue = true;
      entry.begin = entry.end = lexer.Peek().offset;
      while (!lexer.Peek().Is(";") && lexer.Peek().offset < end) entry.end = lexer.Next().EndOffset();
      lexer.TakeIf(";");
    } else if (!lexer.TakeIf(";")) {
      block = entry.keyword;
      continue;
    } else if (entry.keyword.starts_with("end_")) {
      block.clear();
      continue;
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace runtime
