// The meters among the views of an instrument, in the order of registration:
//
//   for (const gaugekit::CMeter& meter : MetersOf(instrument)) …
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_METERS_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_METERS_H

#include <cstddef>

#include "host/gaugekit.h"

namespace runtime {

class CMeters {
 public:
  struct TEnd {};

  class CIterator {
   public:
    explicit CIterator(view::CView* first) : child(first) { Settle(); }
    gaugekit::CMeter& operator*() const { return *static_cast<gaugekit::CMeter*>(child); }
    CIterator& operator++() {
      child = child->next;
      Settle();
      return *this;
    }
    bool operator!=(TEnd) const { return child != nullptr; }

   private:
    void Settle() {
      while (child != nullptr && child->kind != view::kMeter) child = child->next;
    }

    view::CView* child;
  };

  explicit CMeters(const view::CNodeView& node) : first(node.firstChild) {}
  CIterator begin() const { return CIterator(first); }
  TEnd end() const { return {}; }

 private:
  view::CView* first;
};

inline CMeters MetersOf(const view::CNodeView& node) { return CMeters(node); }

// The number-th of them, from 0; null when there are fewer.
inline gaugekit::CMeter* MeterOf(const view::CNodeView& node, std::size_t number) {
  for (gaugekit::CMeter& meter : MetersOf(node)) {
    if (number-- == 0) return &meter;
  }
  return nullptr;
}

}  // namespace runtime

#endif
