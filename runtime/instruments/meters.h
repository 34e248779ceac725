// The meters among the views of an instrument, or the descriptions, in the order of
// registration:
//
//   for (const gaugekit::CMeter& meter : MetersOf(instrument)) …
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_METERS_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_METERS_H

#include <cstddef>

#include "host/gaugekit.h"

namespace runtime {

// The views of one kind, whose class is TView.
template <typename TView, view::TViewKind kKind>
class CViewsOfKind {
 public:
  struct TEnd {};

  class CIterator {
   public:
    explicit CIterator(view::CView* first) : child(first) { Settle(); }
    TView& operator*() const { return *static_cast<TView*>(child); }
    CIterator& operator++() {
      child = child->next;
      Settle();
      return *this;
    }
    bool operator!=(TEnd) const { return child != nullptr; }

   private:
    void Settle() {
      while (child != nullptr && child->kind != kKind) child = child->next;
    }

    view::CView* child;
  };

  explicit CViewsOfKind(const view::CNodeView& node) : first(node.firstChild) {}
  CIterator begin() const { return CIterator(first); }
  TEnd end() const { return {}; }

 private:
  view::CView* first;
};

inline auto MetersOf(const view::CNodeView& node) { return CViewsOfKind<gaugekit::CMeter, view::kMeter>(node); }
inline auto TextsOf(const view::CNodeView& node) { return CViewsOfKind<vcont::CStaticText, view::kStaticText>(node); }

// The number-th of the meters, from 0; null when there are fewer.
inline gaugekit::CMeter* MeterOf(const view::CNodeView& node, std::size_t number) {
  for (gaugekit::CMeter& meter : MetersOf(node)) {
    if (number-- == 0) return &meter;
  }
  return nullptr;
}

// The meter whose definition gave this one's range and limits: where wish and value
// are in one history, the wish's.
const gaugekit::CMeter& GiverOf(const gaugekit::CMeter& meter);
// The one that keeps a history which this one draws.
const gaugekit::CMeter& MeterOfHistory(const gaugekit::CMeter& meter, const double* buffer);

}  // namespace runtime

#endif
