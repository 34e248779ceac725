// Entries of a block as a table: a keyword, and what reads its value.
#ifndef LOOPBOX_PLANT_ENTRIES_H
#define LOOPBOX_PLANT_ENTRIES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/block.h"

namespace plant {

// Where values of entries stand, by keyword: offsets in the text.
using TPlaces = std::map<std::string, std::uint32_t, std::less<>>;

enum class EEntryForm : std::uint8_t { kValue, kFlag, kBlock };

template <typename TTarget>
struct TEntry {
  std::string_view word;
  void (*read)(runtime::CBlockText& text, TTarget& target);  // up to the ";"
  EEntryForm form = EEntryForm::kValue;                      // a kBlock may stand more than once
};

// Takes `keyword = value;` and the like up to `end`, in any order.
template <typename TTarget, std::size_t count>
TPlaces ReadEntries(runtime::CBlockText& text, const TEntry<TTarget> (&entries)[count], std::string_view end,
                    TTarget& target) {
  std::vector<std::string_view> words;
  for (const TEntry<TTarget>& entry : entries) words.push_back(entry.word);
  words.push_back(end);
  TPlaces places;
  for (;;) {
    const std::string word = text.ExpectOneOf(words);
    if (word == end) return places;
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
}

}  // namespace plant

#endif
