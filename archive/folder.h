// The days of an archive together.
#ifndef LOOPBOX_ARCHIVE_FOLDER_H
#define LOOPBOX_ARCHIVE_FOLDER_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "archive/day_reader.h"

namespace archive {

class CFolder {
 public:
  explicit CFolder(std::string theFolder) : folder(std::move(theFolder)) {}

  // While one lives, the folder is seen as it was when it began, and days that are
  // deleted meanwhile are there. What goes wrong is thrown as TFailure.
  class CReading {
   public:
    explicit CReading(CFolder& theFolder) : folder(theFolder) { folder.Begin(); }
    ~CReading() { folder.End(); }
    CReading(const CReading&) = delete;
    CReading& operator=(const CReading&) = delete;

   private:
    CFolder& folder;
  };

  const std::vector<TDay>& Days() const { return days; }
  const std::vector<TRun>& Runs() const { return runs; }
  std::vector<TChannel> Channels(std::int64_t run) const;

  // The part of a channel's history that one day holds, from <= period < to.
  struct TPiece {
    CDayReader* reader;
    const TDayRun* run;
    const TDayChannel* channel;
    std::uint64_t from;
    std::uint64_t to;
  };
  // Those of a run in its periods from <= period < to, while reading.
  std::vector<TPiece> Pieces(std::int64_t run, const std::string& channel, std::uint64_t from, std::uint64_t to);

 private:
  struct TFile {
    std::int64_t day = 0;
    std::string path;
    std::uintmax_t size = 0;
    std::filesystem::file_time_type changed;
    bool isOpen = true;  // its runs may grow
    std::vector<TDayRun> runs;
    std::unique_ptr<CDayReader> reader;  // null: not needed yet
  };

  void Begin();
  void End();
  // False when it is no longer there.
  bool Look(TFile& file) const;
  void Sum();

  const std::string folder;
  std::vector<TFile> files;  // ascending
  std::vector<TDay> days;
  std::vector<TRun> runs;
};

// The first period of a run at or after a time, or a second of the run, and the first
// after it; a rounding is forgiven.
std::uint64_t PeriodAt(const TRun& run, double time);
std::uint64_t PeriodOf(const TRun& run, double second);
std::uint64_t PeriodBehind(const TRun& run, double second);

}  // namespace archive

#endif
