// Texts in another language, by a table of phrases: a text, and what is said in its
// place.
//
// A phrase may have holes, which stand for any text that isn't empty, and what is said
// puts what they catch where their letters stand. {1} to {9} catch texts of the system,
// which are translated in their turn: messages are put together, as in "line {n}: {1}".
// {a} to {f} catch what is somebody's own, as a name, and so does any hole between
// quotes ' or ": it stays as it is. No word of a phrase is looked for between quotes
// but where the phrase has it so.
//
// The hole {n} stands for a whole number. What is said there may have three forms, for
// 1, for 2 to 4, and for others, with "|" between; and the phrase stands for the
// singular too, the same without the s of the first word of four letters or more that
// ends in one: "{n} periods" for "1 period".
#ifndef LOOPBOX_RUNTIME_TEXT_PHRASES_H
#define LOOPBOX_RUNTIME_TEXT_PHRASES_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace runtime {

using TMessageTable = std::map<std::string, std::string, std::less<>>;

// What is wrong with an entry of a table; null: nothing.
const char* PhraseProblem(std::string_view phrase, std::string_view said);

class CPhrases {
 public:
  CPhrases() = default;
  // Of entries without a problem.
  explicit CPhrases(TMessageTable table);
  CPhrases(CPhrases&&) = default;  // the table's entries stay where they are
  CPhrases& operator=(CPhrases&&) = default;

  bool IsEmpty() const { return table.empty(); }
  bool HasHoles() const { return !phrases.empty(); }
  // What is said in the place of a text without holes; null: nothing.
  const std::string* Find(std::string_view text) const;
  // The text, or what follows one of its ": ", as the table says it; by that of the
  // phrases with holes that has the most letters. In time linear in the text.
  std::string Translated(std::string text) const { return Translated(std::move(text), kDeepest); }

 private:
  static constexpr int kDeepest = 8;  // texts caught within texts
  static constexpr std::size_t kPrefix = 4;

  struct THole {
    char name;
    bool quoted;
  };
  // Between the holes stand the words: words[0] {holes[0]} words[1] … Those that stand
  // between quotes are found there.
  struct TPhrase {
    std::vector<std::string> words;
    std::vector<bool> wordsQuoted;
    std::vector<THole> holes;
    const std::string* said;
  };
  using TCaught = std::vector<std::string_view>;  // by the phrase's holes

  void Add(const std::string& phrase, const std::string& said);
  static bool Match(const TPhrase& phrase, std::string_view text, std::string_view quoted, TCaught* caught);
  std::string Said(const TPhrase& phrase, const TCaught& caught, int depth) const;
  const TPhrase* FindPhrase(std::string_view text, std::string_view quoted, TCaught* caught) const;
  std::string Translated(std::string text, int depth) const;

  TMessageTable table;
  std::vector<TPhrase> phrases;                                        // the most letters first
  std::unordered_map<std::string, std::vector<std::size_t>> byPrefix;  // their numbers
  std::vector<std::size_t> others;                                     // those that begin with a hole or are short
};

}  // namespace runtime

#endif
