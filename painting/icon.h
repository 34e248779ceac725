// The icon format, read.
//
//   with a mask:   ".NIC.IBW" width height, rows of 1 bit per pixel;
//                  ".I04" width height, rows of 4 bits per pixel
//   without:       ".NIC.I04" width height, rows of 4 bits per pixel
//
// Width and height are 16 bits, little-endian; rows are padded to whole bytes,
// the leftmost pixel in the highest bits. In a mask 1 is an opaque pixel.
#ifndef LOOPBOX_PAINTING_ICON_H
#define LOOPBOX_PAINTING_ICON_H

#include <cstdint>
#include <vector>

namespace painting {

struct TIcon {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;  // 0xAARRGGBB by rows; a transparent one is 0
};

// False when a signature or an extent is wrong. The image is as long as its
// extents say.
bool DecodeIcon(const std::uint8_t* image, TIcon* icon);

}  // namespace painting

#endif
