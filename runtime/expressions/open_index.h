// Finds items that lie in a row elsewhere by a hash of what they are known by.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_OPEN_INDEX_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_OPEN_INDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace runtime {

// Open addressing with linear probing (Knuth, The Art of Computer Programming,
// volume 3, section 6.4): one cache line a lookup, which is what counts where
// items are many. Items are only added.
class COpenIndex {
 public:
  static constexpr std::int32_t kNone = -1;

  // The position of the item of that hash which `same(position)` says it is.
  template <typename TSame>
  std::int32_t Find(std::uint32_t hash, TSame same) const {
    if (slots.empty()) return kNone;
    for (std::size_t i = hash;; ++i) {
      const TSlot& slot = slots[i & (slots.size() - 1)];
      if (slot.position == kNone || (slot.hash == hash && same(slot.position))) return slot.position;
    }
  }

  // Of an item that is not there yet.
  void Add(std::uint32_t hash, std::int32_t position) {
    if (2 * (count + 1) > slots.size()) Enlarge();
    Put({hash, position});
    ++count;
  }

 private:
  struct TSlot {
    std::uint32_t hash;
    std::int32_t position;
  };

  void Put(TSlot slot) {
    std::size_t i = slot.hash;
    while (slots[i & (slots.size() - 1)].position != kNone) ++i;
    slots[i & (slots.size() - 1)] = slot;
  }

  void Enlarge() {
    std::vector<TSlot> old(std::max<std::size_t>(2 * slots.size(), 64), TSlot{0, kNone});
    old.swap(slots);
    for (const TSlot& slot : old) {
      if (slot.position != kNone) Put(slot);
    }
  }

  std::vector<TSlot> slots;  // a power of two, at most half of them taken
  std::size_t count = 0;
};

}  // namespace runtime

#endif
