// Blocks of middling size. Those of one size lie in the order in which they are
// taken, so that what many instruments have in common lies at even distances.
#ifndef LOOPBOX_RUNTIME_PLATFORM_BLOCK_POOL_H
#define LOOPBOX_RUNTIME_PLATFORM_BLOCK_POOL_H

#include <cstddef>

namespace runtime {

// Sizes that pools serve, in bytes.
constexpr std::size_t kLeastPooled = 256;
constexpr std::size_t kMostPooled = 4096;

// A block of zeros that starts on a cache line; null when there is no memory.
// `size` is in the pools' range.
void* TakeBlock(std::size_t size);
// Takes back a block that was taken with this size. The room is kept for the
// next one.
void GiveBlock(void* block, std::size_t size);

}  // namespace runtime

#endif
