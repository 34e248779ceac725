// The run of a regulator in windows, one for each change of the wish: from the row
// before it to the next change, or to the end. The first begins with the run. A wish
// that changes in consecutive rows moves, until it has stood for ten: all that is one
// window, up to the last change, with which the next begins.
#ifndef LOOPBOX_WORKBENCH_RUN_WISH_WINDOWS_H
#define LOOPBOX_WORKBENCH_RUN_WISH_WINDOWS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "workbench/run/metrics.h"

namespace workbench {

// Of rows with from < t <= to, in seconds.
struct TWindow {
  std::string name;
  double from = 0.0;
  double to = 0.0;
  bool isWish = true;  // of a change of the wish; else a declared one
  TFigures figures;
};

class CWishWindows {
 public:
  static constexpr std::size_t kMost = 100;          // that are kept of one regulator
  static constexpr std::size_t kMostOfAll = 50'000;  // and of all of a run

  CWishWindows(ERegulatorKind theKind, double theRowSeconds) : kind(theKind), rowSeconds(theRowSeconds) {}

  // `room` is how many may still be kept.
  void Feed(const TSample& sample, const TWishMotion& wish, std::size_t* room);
  // Those kept, and the one that goes on.
  std::vector<TWindow> Windows() const;
  std::uint64_t Further() const { return further; }

 private:
  struct TOpen {
    CMetrics metrics;
    double from = 0.0;  // seconds
    double wishFrom = 0.0;
    double wishTo = 0.0;
    bool begins = false;  // with the run
  };
  // Of a wish that moves.
  struct TMovement {
    TOpen before;      // up to the last change
    TOpen afterwards;  // from it on, a window of its own when the wish stands
  };

  TWindow Closed(const TOpen& open, double to, bool moved) const;
  void Close(const TOpen& open, double to, bool moved, std::size_t* room);

  ERegulatorKind kind;
  double rowSeconds;
  TOpen current;
  std::unique_ptr<TMovement> movement;  // seldom there, and large
  double lastTime = 0.0;                // seconds
  std::vector<TWindow> windows;
  std::uint64_t further = 0;
};

}  // namespace workbench

#endif
