#include "runtime/platform/memory.h"

#include <algorithm>
#include <cstdlib>

#include "host/runlib.h"
#include "runtime/platform/block_pool.h"

namespace {

// Stands in front of each block, which it keeps aligned.
struct alignas(std::max_align_t) THeader {
  std::size_t size;
};

runtime::TMemoryStatistics live;
std::int64_t successesLeft = -1;
std::int64_t failuresLeft = -1;

// Under a sanitizer each block stands alone, so that its ends are watched.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPools = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kPools = false;
#else
constexpr bool kPools = true;
#endif
#else
constexpr bool kPools = true;
#endif

bool IsPooled(std::size_t whole) { return kPools && whole >= runtime::kLeastPooled && whole <= runtime::kMostPooled; }

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

std::size_t SizeOfBlock(const void* block) { return (static_cast<const THeader*>(block) - 1)->size; }

void FailAllocationAfter(std::int64_t successes, std::int64_t failures) {
  successesLeft = successes;
  failuresLeft = failures;
}

CBlockLog* CBlockLog::newest = nullptr;

CBlockLog::CBlockLog() : older(newest) { newest = this; }

CBlockLog::~CBlockLog() {
  CBlockLog** link = &newest;
  while (*link != this) link = &(*link)->older;
  *link = older;
}

void CBlockLog::TellGiven(void* block, std::size_t size) {
  for (CBlockLog* log = newest; log != nullptr; log = log->older) {
    log->blocks.push_back({block, size});
    ++log->changes;
  }
}

// Most that are taken back were given last.
void CBlockLog::TellTakenBack(const void* block) {
  for (CBlockLog* log = newest; log != nullptr; log = log->older) {
    const auto found = std::find_if(log->blocks.rbegin(), log->blocks.rend(),
                                    [block](const TGivenBlock& given) { return given.start == block; });
    if (found != log->blocks.rend()) log->blocks.erase(std::next(found).base());
    ++log->changes;
  }
}

}  // namespace runtime

namespace runlib {

void MemAllocate(void** block, std::size_t size) {
  if (block == nullptr) return;
  *block = nullptr;
  const bool refused = size > runtime::kMemoryServiceLimit - live.bytes || FailsOnPurpose();
  const std::size_t whole = sizeof(THeader) + size;
  void* room = refused ? nullptr : IsPooled(whole) ? runtime::TakeBlock(whole) : std::calloc(1, whole);
  auto* header = static_cast<THeader*>(room);
  if (header == nullptr) {
    ++live.failures;
    return;
  }
  header->size = size;
  ++live.blocks;
  live.bytes += size;
  *block = header + 1;
  runtime::CBlockLog::TellGiven(*block, size);
}

void MemDeallocate(void** block) {
  if (block == nullptr || *block == nullptr) return;
  runtime::CBlockLog::TellTakenBack(*block);
  THeader* header = static_cast<THeader*>(*block) - 1;
  --live.blocks;
  live.bytes -= header->size;
  const std::size_t whole = sizeof(THeader) + header->size;
  if (IsPooled(whole)) {
    runtime::GiveBlock(header, whole);
  } else {
    std::free(header);
  }
  *block = nullptr;
}

}  // namespace runlib
