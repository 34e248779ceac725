// The painters' side of history buffers.
#ifndef LOOPBOX_RUNTIME_PLATFORM_BUFFER_PAINTER_H
#define LOOPBOX_RUNTIME_PLATFORM_BUFFER_PAINTER_H

#include <cstdint>

namespace runtime {

// Counts the changes of what painters have registered, from 1.
extern std::uint32_t painterChanges __attribute__((visibility("hidden")));

}  // namespace runtime

#endif
