// What is remembered of a run that goes on: its last minutes, and before them what is
// kept elsewhere.
#ifndef LOOPBOX_PANEL_SERVER_LIVE_HISTORY_H
#define LOOPBOX_PANEL_SERVER_LIVE_HISTORY_H

#include <string>
#include <vector>

#include "panel/frame_layout.h"
#include "panel/server/samples.h"
#include "panel/server/source.h"

namespace panel {

class CLiveHistory final : public CHistory {
 public:
  // The columns of the samples are the layout's trends; thePeriod is in seconds;
  // `theOlder` is null where nothing else is kept. All outlive it.
  CLiveHistory(const TFrameLayout& theLayout, const CSamples& theSamples, double thePeriod, CHistory* theOlder);

  bool Knows(const std::string& item) const override { return layout.IndexOf(item).has_value(); }
  bool Read(const std::vector<std::string>& items, double from, double to, std::size_t points, TTrend* trend,
            std::string* error) override;

 private:
  const TFrameLayout& layout;
  const CSamples& samples;
  double period;
  CHistory* older;
  std::vector<std::size_t> columns;  // places in a frame, ascending
};

}  // namespace panel

#endif
