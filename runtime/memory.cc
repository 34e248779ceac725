#include "runtime/memory.h"

#include <cstdlib>

#include "host/runlib.h"

namespace {

// Stands in front of each block, which it keeps aligned.
struct alignas(std::max_align_t) THeader {
  std::size_t size;
};

runtime::TMemoryStatistics live;
std::int64_t successesLeft = -1;
std::int64_t failuresLeft = -1;

bool FailsOnPurpose() {
  if (successesLeft != 0) {
    if (successesLeft > 0) --successesLeft;
    return false;
  }
  if (failuresLeft == 0) return false;
  if (failuresLeft > 0) --failuresLeft;
  return true;
}

}  // namespace

namespace runtime {

TMemoryStatistics MemoryStatistics() { return live; }

void FailAllocationAfter(std::int64_t successes, std::int64_t failures) {
  successesLeft = successes;
  failuresLeft = failures;
}

}  // namespace runtime

namespace runlib {

void MemAllocate(void** block, std::size_t size) {
  if (block == nullptr) return;
  *block = nullptr;
  const bool refused = size > runtime::kMemoryServiceLimit - live.bytes || FailsOnPurpose();
  auto* header = refused ? nullptr : static_cast<THeader*>(std::calloc(1, sizeof(THeader) + size));
  if (header == nullptr) {
    ++live.failures;
    return;
  }
  header->size = size;
  ++live.blocks;
  live.bytes += size;
  *block = header + 1;
}

void MemDeallocate(void** block) {
  if (block == nullptr || *block == nullptr) return;
  THeader* header = static_cast<THeader*>(*block) - 1;
  --live.blocks;
  live.bytes -= header->size;
  std::free(header);
  *block = nullptr;
}

}  // namespace runlib
