// A picture drawn into the bytes of a file of either format.
#ifndef LOOPBOX_PAINTING_FILE_SURFACE_H
#define LOOPBOX_PAINTING_FILE_SURFACE_H

#include <cairo.h>

#include <cstdint>
#include <functional>
#include <string>

#include "painting/painting.h"

namespace painting {

// A side in pixels, and the area, that a picture may have.
constexpr std::int64_t kLargestSide = 16384;
constexpr std::int64_t kLargestArea = std::int64_t{64} << 20;

// What is behind the instruments.
constexpr std::uint32_t kWindowPaper = 0xDCD8D4;

// Appends to the std::string at `bytes` what Cairo writes of a file.
cairo_status_t AppendBytes(void* bytes, const unsigned char* data, unsigned int length);

// Draws on an opaque surface of that size in pixels. *bytes receives the whole
// file. False with a message.
bool DrawFile(EFormat format, double width, double height, const std::function<void(cairo_t*)>& draw,
              std::string* bytes, std::string* error);

}  // namespace painting

#endif
