#include "runtime/text_block.h"

#include <utility>

#include "runtime/expressions/vocabulary.h"
#include "runtime/text/near_names.h"

namespace runtime {

TTextBlock SkipBlock(CLexer& lexer, std::uint32_t header, std::string_view endKeyword) {
  TTextBlock block{header, lexer.Offset(), 0};
  for (bool begins = true;;) {  // whether an entry does
    const TLexeme& next = lexer.Peek();
    if (next.kind == ELexeme::kEnd) {
      throw TTextError{header, "this block is not closed: expected " + std::string(endKeyword)};
    }
    const bool closes = next.kind == ELexeme::kIdentifier && next.text == endKeyword;
    // What stands in a definition is the class's own affair.
    if (begins && !closes && endKeyword != "end_instrument" && next.text.starts_with("end_") &&
        IsBlockKeyword(next.text.substr(4))) {
      FailOpen(header, endKeyword, next);
    }
    begins = next.Is(";");
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

void FailNoBlock(const TLexeme& keyword) {
  CNearNames near(keyword.text);
  for (const std::string_view known : kBlockKeywords) near.Offer(known);
  for (const std::string_view known : kBlocksOfOthers) near.Offer(known);
  throw TTextError{keyword.offset, "expected application, constants, data, process, instrument or script, found " +
                                       Describe(keyword) + near.Question()};
}

namespace {

// Reads entries up to an offset, and says which block is open there, and of which
// entry the value was begun.
TWordPlace ReadEntries(const CSource& source, std::uint32_t begin, std::uint32_t end,
                       std::vector<TEntryPlace>* entries) {
  CLexer lexer(source);
  lexer.Seek(begin);
  TWordPlace reached;
  while (lexer.Peek().offset < end && lexer.Peek().kind != ELexeme::kEnd) {
    const TLexeme keyword = lexer.Next();
    TEntryPlace entry{reached.block ? reached.block->keyword : "", std::string(keyword.text), keyword.offset};
    reached.valueOf.clear();
    if (lexer.TakeIf("=")) {
      reached.valueOf = entry.keyword;
      entry.hasValue = true;
      entry.begin = entry.end = lexer.Peek().offset;
      while (!lexer.Peek().Is(";") && lexer.Peek().offset < end) entry.end = lexer.Next().EndOffset();
      if (lexer.TakeIf(";")) reached.valueOf.clear();
    } else if (!lexer.TakeIf(";")) {
      reached.block = std::move(entry);
      continue;
    } else if (entry.keyword.starts_with("end_")) {
      reached.block.reset();
      continue;
    }
    entries->push_back(std::move(entry));
  }
  return reached;
}

}  // namespace

std::vector<TEntryPlace> EntriesOf(const CSource& source, std::uint32_t begin, std::uint32_t end) {
  std::vector<TEntryPlace> entries;
  ReadEntries(source, begin, end, &entries);
  return entries;
}

TWordPlace PlaceInDefinition(const CSource& source, std::uint32_t begin, std::uint32_t place) {
  std::vector<TEntryPlace> entries;
  return ReadEntries(source, begin, place, &entries);
}

}  // namespace runtime
