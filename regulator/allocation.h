// Objects in blocks of the host.
#ifndef LOOPBOX_REGULATOR_ALLOCATION_H
#define LOOPBOX_REGULATOR_ALLOCATION_H

#include <new>
#include <utility>

#include "host/runlib.h"

namespace loopbox {

// A new object in a block from MemAllocate, or null when there is no memory.
template <typename TObject, typename... TArguments>
TObject* Make(TArguments&&... arguments) {
  void* block = nullptr;
  runlib::MemAllocate(&block, sizeof(TObject));
  return block == nullptr ? nullptr : new (block) TObject(std::forward<TArguments>(arguments)...);
}

// Releases the block of an object that needs no ending, and forgets it.
template <typename TObject>
void Release(TObject*& object) {
  void* block = object;
  runlib::MemDeallocate(&block);
  object = nullptr;
}

}  // namespace loopbox

#endif
