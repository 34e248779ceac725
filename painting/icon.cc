#include "painting/icon.h"

#include <cstddef>
#include <cstring>

namespace painting {

namespace {

// The format's 16 colours as 0xRRGGBB.
constexpr std::uint32_t kPalette[16] = {
    0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0,
    0x808080, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF,
};
constexpr std::uint32_t kOpaque = 0xFF000000;

// One plane of an image: its extent and its rows.
struct TPlane {
  TPlane(const std::uint8_t* at, unsigned bitsPerPixel)
      : width(at[0] | at[1] << 8), height(at[2] | at[3] << 8), rows(at + 4), bits(bitsPerPixel) {}

  std::size_t Stride() const { return (static_cast<std::size_t>(width) * bits + 7) / 8; }
  const std::uint8_t* End() const { return rows + Stride() * static_cast<std::size_t>(height); }
  unsigned At(int x, int y) const {
    const std::size_t bit = static_cast<std::size_t>(x) * bits;
    const unsigned byte = rows[Stride() * static_cast<std::size_t>(y) + bit / 8];
    return byte >> (8 - bits - bit % 8) & ((1u << bits) - 1);
  }

  int width;
  int height;
  const std::uint8_t* rows;
  unsigned bits;
};

bool Is(const std::uint8_t* at, const char* signature) {
  return std::memcmp(at, signature, std::strlen(signature)) == 0;
}

}  // namespace

bool DecodeIcon(const std::uint8_t* image, TIcon* icon) {
  if (image == nullptr || !Is(image, ".NIC.")) return false;
  const bool hasMask = Is(image, ".NIC.IBW");
  if (!hasMask && !Is(image, ".NIC.I04")) return false;
  const TPlane mask(image + 8, 1);
  if (hasMask && !Is(mask.End(), ".I04")) return false;
  const TPlane colors(hasMask ? mask.End() + 4 : image + 8, 4);
  if (colors.width == 0 || colors.height == 0) return false;
  if (hasMask && (mask.width != colors.width || mask.height != colors.height)) return false;
  icon->width = colors.width;
  icon->height = colors.height;
  icon->pixels.clear();
  for (int y = 0; y < colors.height; ++y) {
    for (int x = 0; x < colors.width; ++x) {
      const bool isOpaque = !hasMask || mask.At(x, y) != 0;
      icon->pixels.push_back(isOpaque ? kOpaque | kPalette[colors.At(x, y)] : 0);
    }
  }
  return true;
}

}  // namespace painting
