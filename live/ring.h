// Small records that one process hands to another, in their order.
#ifndef LOOPBOX_LIVE_RING_H
#define LOOPBOX_LIVE_RING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "live/shared_block.h"

namespace live {

// One process puts records in, one takes them out, and neither waits: of a full ring
// the one who puts is told.
template <typename TItem, std::size_t kCapacity>
class CRing {
 public:
  static constexpr std::size_t Bytes() { return PlaceBytes(sizeof(TShared)); }

  // In a block that outlives it.
  explicit CRing(CSharedBlock& block) : shared(block.Place<TShared>()) {}

  // False when it is full.
  bool Put(const TItem& record) {
    const std::uint64_t end = shared->put.load(std::memory_order_relaxed);
    if (end - shared->taken.load(std::memory_order_acquire) == kCapacity) return false;
    shared->records[end % kCapacity] = record;
    shared->put.store(end + 1, std::memory_order_release);
    return true;
  }

  // False when it is empty.
  bool Take(TItem* record) {
    const TItem* const next = Peek();
    if (next == nullptr) return false;
    *record = *next;
    Drop();
    return true;
  }
  // The next one, which stays; null when it is empty. It is dropped by who has taken it
  // in, so that nothing is lost when that process dies before.
  const TItem* Peek() const {
    const std::uint64_t begin = shared->taken.load(std::memory_order_relaxed);
    if (begin == shared->put.load(std::memory_order_acquire)) return nullptr;
    return &shared->records[begin % kCapacity];
  }
  void Drop() { shared->taken.store(Taken() + 1, std::memory_order_release); }
  std::uint64_t Taken() const { return shared->taken.load(std::memory_order_relaxed); }  // so far

 private:
  static_assert(std::is_trivially_copyable_v<TItem>);
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

  struct TShared {
    alignas(kPlaceAlignment) std::atomic<std::uint64_t> put{0};
    alignas(kPlaceAlignment) std::atomic<std::uint64_t> taken{0};
    TItem records[kCapacity] = {};
  };

  TShared* shared;
};

}  // namespace live

#endif
