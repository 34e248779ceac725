// The memory service seen from the host's side: what is live, and faults on
// demand for tests.
#ifndef LOOPBOX_RUNTIME_PLATFORM_MEMORY_H
#define LOOPBOX_RUNTIME_PLATFORM_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace runtime {

// What runlib::MemAllocate gave and runlib::MemDeallocate has not taken back.
struct TMemoryStatistics {
  std::size_t blocks;
  std::size_t bytes;       // as asked for, without the blocks' headers
  std::uint64_t failures;  // allocations that gave nothing, since the start
};

TMemoryStatistics MemoryStatistics();
// What was asked for when a live block was given, in bytes.
std::size_t SizeOfBlock(const void* block);

// What all live blocks together may take; an allocation beyond it yields null.
// It is what the instruments of one application can take.
constexpr std::size_t kMemoryServiceLimit = std::size_t{2} << 30;  // bytes

// The next `successes` allocations succeed and `failures` after them yield null
// (-1: all), until the next call. -1 successes: none fails on purpose.
void FailAllocationAfter(std::int64_t successes, std::int64_t failures = -1);

// Notes the blocks that the service gives as long as this lives.
class CBlockLog {
 public:
  struct TGivenBlock {
    void* start;
    std::size_t size;  // bytes, as asked for
  };

  CBlockLog();
  ~CBlockLog();
  CBlockLog(const CBlockLog&) = delete;
  CBlockLog& operator=(const CBlockLog&) = delete;

  // Those that are still held, in the order in which they were given.
  const std::vector<TGivenBlock>& Blocks() const { return blocks; }
  // How often a block was given or taken back, also one given before.
  std::uint64_t Changes() const { return changes; }

  // The service tells all logs.
  static void TellGiven(void* block, std::size_t size);
  static void TellTakenBack(const void* block);

 private:
  static CBlockLog* newest;

  CBlockLog* older;
  std::vector<TGivenBlock> blocks;
  std::uint64_t changes = 0;
};

}  // namespace runtime

#endif
