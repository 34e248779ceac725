// What a person may have meant by a word that is unknown.
#ifndef LOOPBOX_RUNTIME_TEXT_NEAR_NAMES_H
#define LOOPBOX_RUNTIME_TEXT_NEAR_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace runtime {

// The names nearest to a word, whatever their case: by the letters to be put in,
// taken away, changed or swapped with the next, at most one in three and at most
// three of all.
class CNearNames {
 public:
  explicit CNearNames(std::string_view word);

  void Offer(std::string_view name);
  // "; did you mean 'a', 'b' or 'c'?", of at most three, as they were offered;
  // empty when none is near.
  std::string Question() const;
  // The same, as a list.
  std::vector<std::string> Names() const;

 private:
  std::string wrong;
  std::size_t nearest;  // letters that differ, of those found
  std::vector<std::string> found;
};

}  // namespace runtime

#endif
