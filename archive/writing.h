// What the archive's process does, and what it shares with the loop.
#ifndef LOOPBOX_ARCHIVE_WRITING_H
#define LOOPBOX_ARCHIVE_WRITING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "archive/row_ring.h"
#include "live/ring.h"

namespace archive {

// Longer ones are cut.
struct TText {
  char text[240] = {};
};

struct TOutlook {
  std::atomic<std::int64_t> start{0};  // of the run, microseconds of the epoch; before the first row
  std::atomic<bool> isFailing{false};  // nothing can be written
  std::atomic<bool> hasEnded{false};   // all rows are in the files
};

// A row's words: period, rows lost before it, a double for each channel, and eight
// qualities a word, of those channels that have one.
constexpr std::size_t kRowHead = 2;

struct TWriting {
  std::string folder;
  std::uint64_t days = 0;
  TRun run;  // but for its start
  std::vector<TChannel> channels;
  std::vector<std::size_t> judged;  // channels with a quality
  CRowRing* rows = nullptr;
  TOutlook* outlook = nullptr;
  live::CRing<TText, 16>* texts = nullptr;  // for the loop

  std::size_t RowWords() const { return kRowHead + channels.size() + (judged.size() + 7) / 8; }
};

// Until `loop` hangs up and no row waits any more, or a second later where nothing
// can be written. Yields 0.
int Write(TWriting& writing, int loop);

}  // namespace archive

#endif
