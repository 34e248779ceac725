// The lines of a journal that grows while it is read.
#ifndef LOOPBOX_PANEL_SERVER_JOURNAL_LINES_H
#define LOOPBOX_PANEL_SERVER_JOURNAL_LINES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace panel {

class CJournalLines {
 public:
  // Of an empty name there are none.
  explicit CJournalLines(std::string theName) : name(std::move(theName)) {}
  ~CJournalLines();
  CJournalLines(const CJournalLines&) = delete;
  CJournalLines& operator=(const CJournalLines&) = delete;

  // {"lines":[…],"first":…,"total":…}: at most `count` before that one (none: before the
  // end), the newest last; lines are numbered from 1. What is no JSON is passed over.
  std::string Read(std::optional<std::uint64_t> before, std::size_t count);

 private:
  // Finds the ends of the lines that were added.
  void Look();
  std::string Line(std::size_t index) const;

  std::string name;
  int file = -1;
  std::vector<std::uint64_t> ends;  // offsets behind each line's end
  std::uint64_t seen = 0;           // bytes
};

}  // namespace panel

#endif
