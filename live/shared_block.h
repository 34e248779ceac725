// Memory that this process shares with those that it forks later.
#ifndef LOOPBOX_LIVE_SHARED_BLOCK_H
#define LOOPBOX_LIVE_SHARED_BLOCK_H

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

namespace live {

// Each place begins a cache line, so that what one side writes doesn't slow the other.
inline constexpr std::size_t kPlaceAlignment = 64;

// The bytes that a place of that size takes in a block.
constexpr std::size_t PlaceBytes(std::size_t bytes) {
  return (bytes + kPlaceAlignment - 1) / kPlaceAlignment * kPlaceAlignment;
}

class CSharedBlock {
 public:
  // Zeroed memory for places of that many bytes in all. Null with a message.
  static std::unique_ptr<CSharedBlock> Make(std::size_t bytes, std::string* error);
  ~CSharedBlock();
  CSharedBlock(const CSharedBlock&) = delete;
  CSharedBlock& operator=(const CSharedBlock&) = delete;

  // The next so many objects. The block owns them, and ends none: there is nothing
  // in them but numbers. Throws std::bad_alloc where the block is full.
  template <typename TItem>
  TItem* Place(std::size_t count = 1) {
    static_assert(std::is_trivially_destructible_v<TItem> && alignof(TItem) <= kPlaceAlignment);
    std::byte* place = Take(count * sizeof(TItem));
    for (std::size_t i = 0; i < count; ++i) new (place + i * sizeof(TItem)) TItem();
    return std::launder(reinterpret_cast<TItem*>(place));
  }
  // The same of numbers that are to be 0, as the block's memory is: what nobody writes
  // takes none.
  template <typename TItem>
  TItem* PlaceZeroed(std::size_t count) {
    static_assert(std::is_arithmetic_v<TItem>);
    return std::launder(reinterpret_cast<TItem*>(Take(count * sizeof(TItem))));
  }

 private:
  CSharedBlock(std::byte* theBegin, std::size_t theSize) : begin(theBegin), size(theSize) {}
  std::byte* Take(std::size_t bytes);

  std::byte* begin;
  std::size_t size;
  std::size_t used = 0;
};

}  // namespace live

#endif
