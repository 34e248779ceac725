// A day's file, being written.
#ifndef LOOPBOX_ARCHIVE_DAY_WRITER_H
#define LOOPBOX_ARCHIVE_DAY_WRITER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "archive/chunk.h"
#include "archive/database.h"

namespace archive {

// What goes wrong is thrown as TFailure: what was committed stands, and another writer
// goes on from there.
class CDayWriter {
 public:
  // Goes on where the file has the run already.
  CDayWriter(const std::string& path, const TRun& run, const std::vector<TChannel>& channels);
  ~CDayWriter();

  // The last period of the run that is in the file; none where there is none.
  std::optional<std::uint64_t> Last() const { return last; }
  // A period's row: the values and qualities of all channels, kept where one is another
  // than before, or everywhere.
  void Take(std::uint64_t period, const double* values, const std::uint8_t* qualities, bool isWhole);
  // All that was taken is on the disk.
  void Commit(std::uint64_t lost);
  // Joins what is left of each level, commits, and leaves one file.
  void Close(std::uint64_t lost);

 private:
  struct TOpen {
    std::int64_t id = 0;   // of the channel
    bool isKnown = false;  // the value before
    std::uint64_t bits = 0;
    std::uint8_t quality = 0;
    TSamples samples;                      // of the open chunk
    std::int64_t row = 0;                  // of them; 0: not in the file
    bool isChanged = false;                // since the last commit
    std::vector<std::vector<TSpan>> left;  // by level: whole spans that none above joins
  };

  struct TStatements;

  void Begin();
  void FindChannels(const std::vector<TChannel>& channels);
  void FindLeft(TOpen& channel);
  void Sample(TOpen& channel, std::uint64_t period, double value, std::uint8_t quality);
  TSpan WriteChunk(TOpen& channel);
  void EndChunk(TOpen& channel);
  void WriteSpan(const TOpen& channel, std::size_t level, const TSpan& span);
  void AddSpan(TOpen& channel, std::size_t level, const TSpan& span);
  void JoinLevel(TOpen& channel, std::size_t level);

  CDatabase database;
  const TRun run;
  std::int64_t runRow = 0;
  std::optional<std::uint64_t> first;
  std::optional<std::uint64_t> last;
  bool isBegun = false;  // a transaction
  std::vector<TOpen> open;
  std::unique_ptr<TStatements> statements;
};

// A day that a writer didn't close becomes one file, unless somebody reads it.
void Tidy(const std::string& path);

}  // namespace archive

#endif
