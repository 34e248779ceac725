#include "runtime/refused_definition.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "runtime/expressions/vocabulary.h"
#include "runtime/instruments/making.h"
#include "runtime/runtime.h"
#include "runtime/text/near_names.h"
#include "runtime/text_block.h"

namespace runtime {

namespace {

constexpr std::string_view kEndWord = "end_";

std::string Listed(const std::vector<std::string_view>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    text.append(i == 0 ? "" : i + 1 == words.size() ? " or " : ", ").append(words[i]);
  }
  return text;
}

// What the class would have read in the place of the word, behind `=` as the value of
// `valueOf`, else in the block.
std::string KnownInstead(const std::vector<TClassWord>& words, std::string_view word, std::string_view block,
                         std::string_view valueOf) {
  CNearNames near(word);
  std::vector<std::string_view> others;  // blocks that it stands in
  bool standsAtTop = false;
  for (const TClassWord& known : words) {
    if (known.valueOf != valueOf) continue;
    if (known.block == block) near.Offer(known.word);
    if (known.word != word) continue;
    if (known.block == block) return {};
    standsAtTop = standsAtTop || known.block.empty();
    if (!known.block.empty() && std::find(others.begin(), others.end(), known.block) == others.end()) {
      others.push_back(known.block);
    }
  }
  if (standsAtTop)
    return "; " + std::string(block) + " is not closed: expected end_" + std::string(block) + " before it";
  if (!others.empty() && valueOf.empty()) return "; it stands in " + Listed(others);
  return near.Question();
}

}  // namespace

TTextError Explained(const TApplicationState& application, const TInstrumentState& instrument, TTextError refusal) {
  CLexer lexer(application.source);
  lexer.Seek(refusal.offset);
  if (lexer.Peek().kind != ELexeme::kIdentifier) return refusal;
  const TLexeme word = lexer.Next();
  const auto [block, valueOf] = PlaceInDefinition(application.source, instrument.begin, refusal.offset);
  const std::string end = std::string(kEndWord) + (block ? block->keyword : "instrument");
  if (valueOf.empty() && IsBlockKeyword(word.text) && !lexer.Peek().Is("=")) {
    return {block ? block->offset : instrument.header,
            "this block is not closed: expected " + end + " before " + Describe(word)};
  }
  refusal.message = Translated(refusal.message);
  if (block && word.text.starts_with(kEndWord)) {
    refusal.message += "; expected " + end;
  } else if (instrument.className == kMeterClass || application.options.words) {
    const std::vector<TClassWord> words =
        instrument.className == kMeterClass ? WordsOfMeter() : application.options.words(instrument.className);
    refusal.message += KnownInstead(words, word.text, block ? block->keyword : "", valueOf);
  }
  return refusal;
}

TTextError ExplainedEnd(const TApplicationState& application, const TInstrumentState& instrument, TTextError refusal) {
  const auto [block, valueOf] = PlaceInDefinition(application.source, instrument.begin, instrument.end);
  if (!block) return refusal;
  return {block->offset, "this block is not closed: expected " + std::string(kEndWord) + block->keyword};
}

}  // namespace runtime
