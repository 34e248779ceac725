#include "workbench/run/wish_windows.h"

#include <utility>

#include "workbench/text.h"

namespace workbench {

void CWishWindows::Feed(const TSample& sample, const TWishMotion& wish, std::size_t* room) {
  if (wish.changes) {
    const TOpen next = {{}, lastTime, wish.from, sample.wish, wish.begins};
    if (wish.moves) {
      movement = std::make_unique<TMovement>(TMovement{current, next});
      current.wishTo = sample.wish;
    } else {
      if (!wish.begins) Close(current, lastTime, false, room);
      current = next;
    }
  }
  current.metrics.Feed(sample, wish);
  if (movement) {
    movement->afterwards.metrics.Feed(sample, wish);
    if (!wish.moves) {
      Close(movement->before, movement->afterwards.from, true, room);
      current = movement->afterwards;
      movement.reset();
    }
  }
  lastTime = sample.time;
}

std::vector<TWindow> CWishWindows::Windows() const {
  std::vector<TWindow> all = windows;
  if (current.metrics.Rows() > 0) all.push_back(Closed(current, lastTime, movement != nullptr));
  return all;
}

TWindow CWishWindows::Closed(const TOpen& open, double to, bool moved) const {
  CMetrics metrics = open.metrics;
  if (moved) metrics.TakeAsMoving();
  const std::string reached = Significant(open.wishTo);
  std::string name = moved ? "wish moves " : "wish ";
  if (!open.begins) name += Significant(open.wishFrom) + " → ";
  return {name + reached, open.from, to, true, metrics.Figures(kind, rowSeconds)};
}

void CWishWindows::Close(const TOpen& open, double to, bool moved, std::size_t* room) {
  if (windows.size() == kMost || *room == 0) {
    ++further;
    return;
  }
  --*room;
  windows.push_back(Closed(open, to, moved));
}

}  // namespace workbench
