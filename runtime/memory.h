// The memory service seen from the host's side: what is live, and faults on
// demand for tests.
#ifndef LOOPBOX_RUNTIME_MEMORY_H
#define LOOPBOX_RUNTIME_MEMORY_H

#include <cstddef>
#include <cstdint>

namespace runtime {

// What runlib::MemAllocate gave and runlib::MemDeallocate has not taken back.
struct TMemoryStatistics {
  std::size_t blocks;
  std::size_t bytes;       // as asked for, without the blocks' headers
  std::uint64_t failures;  // allocations that gave nothing, since the start
};

TMemoryStatistics MemoryStatistics();

// The next `successes` allocations succeed and all after them yield null,
// until the next call. -1: none fails on purpose.
void FailAllocationAfter(std::int64_t successes);

}  // namespace runtime

#endif
