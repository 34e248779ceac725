// A table that one process writes and another reads: the reader takes the newest
// whole one, the writer composes the next, and neither waits for the other.
#ifndef LOOPBOX_LIVE_NEWEST_H
#define LOOPBOX_LIVE_NEWEST_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "live/shared_block.h"

namespace live {

// Three tables change their places: the writer's, the newest whole one, the
// reader's. Who has which stands in one word of the shared memory, so that a
// process that takes over from one that died, at whatever moment, goes on with it.
// One writer and one reader at a time.
template <typename TItem>
class CNewest {
 public:
  // The bytes of a block that a table of so many elements takes.
  static constexpr std::size_t Bytes(std::size_t count) {
    return PlaceBytes(sizeof(std::atomic<std::uint32_t>)) + 3 * PlaceBytes(count * sizeof(TItem));
  }

  // In a block that outlives it; each element is TItem().
  CNewest(CSharedBlock& block, std::size_t theCount)
      : count(theCount), places(block.Place<std::atomic<std::uint32_t>>()) {
    for (TItem*& table : tables) table = block.Place<TItem>(count);
    places->store(Packed({0, 1, 2, false}), std::memory_order_release);
  }

  // Makes this the newest.
  void Write(std::span<const TItem> table) {
    std::uint32_t seen = places->load(std::memory_order_acquire);
    std::copy_n(table.begin(), count, tables[Unpacked(seen).writers]);
    // The reader changes places at most once in between: what it has taken isn't new.
    TPlaces next;
    do {
      next = Unpacked(seen);
      std::swap(next.writers, next.newest);
      next.isNew = true;
    } while (!places->compare_exchange_weak(seen, Packed(next), std::memory_order_acq_rel, std::memory_order_acquire));
  }

  // The newest table, unchanged until the next call. Before the first Write its
  // elements are TItem().
  std::span<const TItem> Take() {
    // When the writer writes so often in between, an older one serves until the next call.
    std::uint32_t seen = places->load(std::memory_order_acquire);
    for (int attempt = 0; attempt < 4 && Unpacked(seen).isNew; ++attempt) {
      TPlaces next = Unpacked(seen);
      std::swap(next.readers, next.newest);
      next.isNew = false;
      if (places->compare_exchange_strong(seen, Packed(next), std::memory_order_acq_rel, std::memory_order_acquire)) {
        seen = Packed(next);
      }
    }
    return {tables[Unpacked(seen).readers], count};
  }

 private:
  static_assert(std::is_trivially_copyable_v<TItem>);
  static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

  struct TPlaces {
    std::uint32_t writers;
    std::uint32_t newest;
    std::uint32_t readers;
    bool isNew;  // the reader hasn't taken the newest
  };
  static TPlaces Unpacked(std::uint32_t word) { return {word & 3, (word >> 2) & 3, (word >> 4) & 3, (word >> 6) != 0}; }
  static std::uint32_t Packed(const TPlaces& all) {
    return all.writers | all.newest << 2 | all.readers << 4 | (all.isNew ? 1U << 6 : 0U);
  }

  std::size_t count;
  std::atomic<std::uint32_t>* places;
  TItem* tables[3];
};

}  // namespace live

#endif
