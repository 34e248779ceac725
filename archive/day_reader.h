// A day's file, being read.
#ifndef LOOPBOX_ARCHIVE_DAY_READER_H
#define LOOPBOX_ARCHIVE_DAY_READER_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "archive/chunk.h"
#include "archive/database.h"

namespace archive {

struct TDayChannel {
  std::int64_t id = 0;
  TChannel channel;
  int top = -1;           // the highest level that it has; -1: nothing
  std::uint64_t end = 0;  // the period of its last sample
};

struct TDayRun {
  TRun run;  // its periods in the day
  std::vector<TDayChannel> channels;
};

// Trusts nothing of what the file holds. What goes wrong is thrown as TFailure. As long
// as it lives it sees the file as it was in the beginning.
class CDayReader {
 public:
  explicit CDayReader(const std::string& path);
  ~CDayReader();

  // Whether a writer may still come: who reads on keeps it from making the day one file.
  bool IsOpen() const { return isOpen; }
  // None yet where a writer has only just made the file.
  std::vector<TDayRun> Runs() const;
  // Of a channel those of a level with from <= begin < to, ascending.
  void Spans(const TDayChannel& channel, int level, std::uint64_t from, std::uint64_t to, std::vector<TSpan>* spans);
  // Its samples in from <= period < to, behind those that are there: all, or those of so
  // many chunks that have some. Yields the chunks that were read.
  std::size_t Samples(const TDayChannel& channel, std::uint64_t from, std::uint64_t to, TSamples* samples,
                      std::size_t most = std::numeric_limits<std::size_t>::max());
  // The last sample before a period.
  std::optional<TSpan> Before(const TDayChannel& channel, std::uint64_t period);

 private:
  struct TStatements;

  void ReadChunk(const TSpan& span);

  CDatabase database;
  bool isOpen = false;
  std::unique_ptr<TStatements> statements;  // null: there are no tables yet
  TSamples chunk;                           // read last
};

}  // namespace archive

#endif
