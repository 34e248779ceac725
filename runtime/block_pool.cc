#include "runtime/block_pool.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace runtime {

namespace {

constexpr std::size_t kLine = 64;          // bytes, of a cache
constexpr std::size_t kChunk = 256 << 10;  // bytes, at most got at a time
constexpr std::size_t kFirstBlocks = 4;    // got the first time

// What stands in a block that nobody holds.
struct TFree {
  TFree* next;
};

struct TPool {
  TFree* given = nullptr;  // taken back, the last one first
  char* fresh = nullptr;   // never taken
  std::size_t freshBlocks = 0;
  std::size_t chunkBlocks = kFirstBlocks;
};

TPool pools[kMostPooled / kLine + 1];  // by lines

std::size_t LinesOf(std::size_t size) { return (size + kLine - 1) / kLine; }

}  // namespace

void* TakeBlock(std::size_t size) {
  const std::size_t lines = LinesOf(size);
  const std::size_t bytes = lines * kLine;
  TPool& pool = pools[lines];
  void* block = pool.given;
  if (block != nullptr) {
    pool.given = pool.given->next;
  } else {
    if (pool.freshBlocks == 0) {
      pool.fresh = static_cast<char*>(std::aligned_alloc(kLine, pool.chunkBlocks * bytes));
      if (pool.fresh == nullptr) return nullptr;
      pool.freshBlocks = pool.chunkBlocks;
      pool.chunkBlocks = std::min(2 * pool.chunkBlocks, kChunk / bytes);
    }
    block = pool.fresh;
    pool.fresh += bytes;
    --pool.freshBlocks;
  }
  return std::memset(block, 0, bytes);
}

void GiveBlock(void* block, std::size_t size) {
  TPool& pool = pools[LinesOf(size)];
  pool.given = new (block) TFree{pool.given};
}

}  // namespace runtime
