// Entries of a block (runtime/block.h) as a table: a keyword, and what reads its value.
#ifndef LOOPBOX_RUNTIME_BLOCK_ENTRIES_H
#define LOOPBOX_RUNTIME_BLOCK_ENTRIES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/block.h"
#include "runtime/runtime.h"

namespace runtime {

// Where values of entries stand, by keyword: offsets in the text.
using TPlaces = std::map<std::string, std::uint32_t, std::less<>>;

enum class EEntryForm : std::uint8_t { kValue, kFlag, kBlock };

template <typename TTarget>
struct TEntry {
  std::string_view word;
  void (*read)(CBlockText& text, TTarget& target);  // up to the ";"
  EEntryForm form = EEntryForm::kValue;             // a kBlock may stand more than once
};

// Takes `keyword = value;` and the like up to `end`, in any order; an empty one is the
// end of the block.
template <typename TTarget, std::size_t count>
TPlaces ReadEntries(CBlockText& text, const TEntry<TTarget> (&entries)[count], std::string_view end, TTarget& target) {
  std::vector<std::string_view> words;
  for (const TEntry<TTarget>& entry : entries) words.push_back(entry.word);
  if (!end.empty()) words.push_back(end);
  TPlaces places;
  while (!end.empty() || !text.IsAtEnd()) {
    const std::string word = text.ExpectOneOf(words);
    if (word == end) break;
    const std::uint32_t offset = text.LastOffset();
    for (const TEntry<TTarget>& entry : entries) {
      if (entry.word != word) continue;
      if (entry.form != EEntryForm::kBlock && places.contains(word)) text.Fail(offset, "a second '" + word + "'");
      if (entry.form == EEntryForm::kValue) text.Expect("=");
      places[word] = entry.form == EEntryForm::kValue ? text.Peek().offset : offset;
      entry.read(text, target);
    }
    text.Expect(";");
  }
  return places;
}

// Fails at the word taken last, an end, where there is no such entry, which has that form.
inline void Require(const CBlockText& text, const TPlaces& places, const char* entry, const char* form) {
  if (!places.contains(entry)) {
    text.Fail(text.LastOffset(), std::string("expected ") + entry + form + " before this end");
  }
}

// A number above `low`; `what` is expected.
inline double ExpectAbove(CBlockText& text, double low, const char* what) {
  const std::uint32_t place = text.Peek().offset;
  const double value = text.ExpectNumber();
  if (!(value > low)) text.Fail(place, std::string("expected ") + what);
  return value;
}

// LOW, HIGH.
inline std::pair<double, double> ExpectRising(CBlockText& text) {
  const double low = text.ExpectNumber();
  text.Expect(",");
  return {low, ExpectAbove(text, low, "a number above the one before")};
}

// "line 12", with its file where that is another than the one of `from`.
inline std::string Where(const CApplication& application, std::uint32_t offset, std::uint32_t from) {
  const TDiagnostic place = application.At(offset, "");
  const std::string line = std::to_string(place.line);
  return place.path == application.At(from, "").path ? "line " + line : place.path + ":" + line;
}

}  // namespace runtime

#endif
