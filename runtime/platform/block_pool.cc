#include "runtime/platform/block_pool.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace runtime {

namespace {

constexpr std::size_t kLine = 64;                // bytes, of a cache
constexpr std::size_t kFirstChunk = 4096;        // bytes, got the first time; then twice as much each time
constexpr std::size_t kLargestChunk = 2u << 20;  // the size of a large page

// What stands in a block that nobody holds.
struct TFree {
  TFree* next;
};

struct TPool {
  TFree* given = nullptr;  // taken back, the last one first
  char* fresh = nullptr;   // zeros, never taken
  std::size_t freshBytes = 0;
  std::size_t chunk = kFirstChunk;
};

TPool pools[kMostPooled / kLine + 1];  // by lines

std::size_t LinesOf(std::size_t size) { return (size + kLine - 1) / kLine; }

// Zeros. A chunk as large as a large page is asked for as one: small pages cost
// time, when they are first touched and ever after.
char* NewChunk(std::size_t bytes) {
  if (bytes < kLargestChunk) {
    void* chunk = std::aligned_alloc(kLine, bytes);
    return chunk == nullptr ? nullptr : static_cast<char*>(std::memset(chunk, 0, bytes));
  }
  void* const room =
      mmap(nullptr, 2 * bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (room == MAP_FAILED) return nullptr;
  const std::size_t before = (bytes - reinterpret_cast<std::uintptr_t>(room) % bytes) % bytes;
  char* const chunk = static_cast<char*>(room) + before;
  if (before > 0) munmap(room, before);
  munmap(chunk + bytes, bytes - before);
  madvise(chunk, bytes, MADV_HUGEPAGE);
  return chunk;
}

}  // namespace

void* TakeBlock(std::size_t size) {
  const std::size_t lines = LinesOf(size);
  const std::size_t bytes = lines * kLine;
  TPool& pool = pools[lines];
  if (void* block = pool.given) {
    pool.given = pool.given->next;
    return std::memset(block, 0, bytes);
  }
  if (pool.freshBytes < bytes) {
    pool.fresh = NewChunk(pool.chunk);
    pool.freshBytes = pool.fresh == nullptr ? 0 : pool.chunk;
    if (pool.fresh == nullptr) return nullptr;
    pool.chunk = std::min(2 * pool.chunk, kLargestChunk);
  }
  void* block = pool.fresh;
  pool.fresh += bytes;
  pool.freshBytes -= bytes;
  return block;
}

void GiveBlock(void* block, std::size_t size) {
  TPool& pool = pools[LinesOf(size)];
  pool.given = new (block) TFree{pool.given};
}

}  // namespace runtime
