#include "live/shared_block.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstring>

namespace live {

std::unique_ptr<CSharedBlock> CSharedBlock::Make(std::size_t bytes, std::string* error) {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    *error = "no memory to share: " + std::string(std::strerror(errno));
    return nullptr;
  }
  return std::unique_ptr<CSharedBlock>(new CSharedBlock(static_cast<std::byte*>(memory), bytes));
}

CSharedBlock::~CSharedBlock() { munmap(begin, size); }

std::byte* CSharedBlock::Take(std::size_t bytes) {
  if (PlaceBytes(bytes) > size - used) throw std::bad_alloc();
  std::byte* place = begin + used;
  used += PlaceBytes(bytes);
  return place;
}

}  // namespace live
