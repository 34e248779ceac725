// What an archive has of a run, as a trend.
#ifndef LOOPBOX_PANEL_SERVER_ARCHIVED_H
#define LOOPBOX_PANEL_SERVER_ARCHIVED_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "archive/archive.h"
#include "panel/server/source.h"

namespace panel {

class CArchived final : public CHistory {
 public:
  // Of the run that began last. Null with a message.
  static std::unique_ptr<CArchived> Open(const std::string& folder, std::string* error);
  // Of the run that goes on, which began at `start` (seconds of the epoch) or later. It
  // has nothing before the archive has something of it.
  static std::unique_ptr<CArchived> Follow(const std::string& folder, double start);

  const archive::TRun& Run() const { return run; }
  // By their names in a trace.
  const std::vector<archive::TChannel>& Channels() const { return channels; }
  bool Knows(const std::string& item) const override;
  // A sample holds until the next: where more than a period lies between two, the
  // first stands again in the period before the second, and the last one at the end.
  bool Read(const std::vector<std::string>& items, double from, double to, std::size_t points, TTrend* trend,
            std::string* error) override;

 private:
  CArchived(std::string theFolder, double theStart) : folder(std::move(theFolder)), start(theStart) {}
  // False with a message where there is no run yet.
  bool FindRun(std::string* error);
  std::vector<TPoint> PointsOf(const archive::TSeries& series, double from, double to) const;

  std::string folder;
  double start;                                // seconds of the epoch
  std::unique_ptr<archive::CArchive> archive;  // null: the run isn't found yet
  archive::TRun run;
  std::vector<archive::TChannel> channels;
  std::map<std::string, std::string> columns;  // by item
};

}  // namespace panel

#endif
