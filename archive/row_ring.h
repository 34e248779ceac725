// Rows of a run that wait for their writer.
#ifndef LOOPBOX_ARCHIVE_ROW_RING_H
#define LOOPBOX_ARCHIVE_ROW_RING_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "live/shared_block.h"

namespace archive {

// One process puts rows of so many words in, another looks at them in their order and
// releases those that it is done with; neither waits. A process that takes over from
// one that died sees all rows that weren't released.
class CRowRing {
 public:
  static std::size_t Bytes(std::size_t capacity, std::size_t words) {
    return 2 * live::PlaceBytes(sizeof(std::atomic<std::uint64_t>)) +
           live::PlaceBytes(capacity * words * sizeof(std::uint64_t));
  }

  // In a block that outlives it.
  CRowRing(live::CSharedBlock& block, std::size_t theCapacity, std::size_t theWords)
      : capacity(theCapacity),
        words(theWords),
        put(block.Place<std::atomic<std::uint64_t>>()),
        released(block.Place<std::atomic<std::uint64_t>>()),
        rows(block.Place<std::uint64_t>(capacity * words)) {}

  std::size_t Capacity() const { return capacity; }

  // Room for the next row; null when there is none.
  std::uint64_t* Room() const {
    const std::uint64_t end = put->load(std::memory_order_relaxed);
    if (end - released->load(std::memory_order_acquire) == capacity) return nullptr;
    return rows + end % capacity * words;
  }
  // What stands in the room is the next row.
  void Put() { put->store(put->load(std::memory_order_relaxed) + 1, std::memory_order_release); }

  // The row behind so many that weren't released; null when there is none.
  const std::uint64_t* Row(std::uint64_t behind) const {
    const std::uint64_t number = released->load(std::memory_order_relaxed) + behind;
    return number == put->load(std::memory_order_acquire) ? nullptr : rows + number % capacity * words;
  }
  void Release(std::uint64_t count) {
    released->store(released->load(std::memory_order_relaxed) + count, std::memory_order_release);
  }

 private:
  std::size_t capacity;
  std::size_t words;
  std::atomic<std::uint64_t>* put;
  std::atomic<std::uint64_t>* released;
  std::uint64_t* rows;
};

}  // namespace archive

#endif
