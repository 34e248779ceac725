// The painters' side of history buffers.
#ifndef LOOPBOX_RUNTIME_PAINTER_H
#define LOOPBOX_RUNTIME_PAINTER_H

#include <cstdint>

namespace runtime {

// Counts the changes of what painters have registered, from 1.
std::uint32_t PainterChanges();

}  // namespace runtime

#endif
