// The icon format, packed when the library is compiled.
//
//   with a mask:   ".NIC.IBW" width height, rows of 1 bit per pixel;
//                  ".I04" width height, rows of 4 bits per pixel
//   without:       ".NIC.I04" width height, rows of 4 bits per pixel
//
// Width and height are 16 bits, little-endian; rows are padded to whole bytes,
// the leftmost pixel in the highest bits. In a mask 1 is an opaque pixel.
#ifndef LOOPBOX_PLUGIN_ICON_H
#define LOOPBOX_PLUGIN_ICON_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace loopbox {

// The 16 colours as 0xRRGGBB, and the letters that stand for them in artwork.
// A '.' is a transparent pixel.
inline constexpr std::uint32_t kPalette[16] = {
    0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0,
    0x808080, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF,
};
inline constexpr char kPaletteLetters[16 + 1] = "KmgonptSGRLYbfaW";
inline constexpr char kGround = ' ';  // the ground of a picture: navy
inline constexpr std::uint8_t kGroundColor = 4;
inline constexpr char kTransparent = '.';

// A picture with any other letter, or with a row that is too short, does not
// compile.
constexpr std::uint8_t ColorOf(char letter) {
  if (letter == kGround) return kGroundColor;
  if (letter == kTransparent) return 0;
  for (std::uint8_t color = 0; color < 16; ++color) {
    if (kPaletteLetters[color] == letter) return color;
  }
  throw "no such colour";
}

template <std::size_t size>
struct TIconWriter {
  std::array<std::uint8_t, size> bytes = {};
  std::size_t next = 0;

  // All of them: a size that doesn't fit is no constant.
  consteval std::array<std::uint8_t, size> Whole() const {
    if (next != size) throw "an icon of another size";
    return bytes;
  }

  constexpr void Byte(std::size_t byte) { bytes[next++] = static_cast<std::uint8_t>(byte); }
  constexpr void Text(const char* text) {
    while (*text != 0) Byte(static_cast<std::uint8_t>(*text++));
  }
  constexpr void Word(std::size_t word) {
    Byte(word & 0xFF);
    Byte(word >> 8);
  }
  // A row, `bits` bits per pixel.
  template <std::size_t width, typename TPixel>
  constexpr void Row(std::size_t bits, TPixel pixel) {
    std::size_t byte = 0;
    std::size_t filled = 0;
    for (std::size_t x = 0; x < width; ++x) {
      byte = byte << bits | pixel(x);
      filled += bits;
      if (filled < 8) continue;
      Byte(byte);
      byte = 0;
      filled = 0;
    }
    if (filled > 0) Byte(byte << (8 - filled));
  }
};

constexpr std::size_t MaskSize(std::size_t width, std::size_t height) { return 4 + (width + 7) / 8 * height; }
constexpr std::size_t ColorsSize(std::size_t width, std::size_t height) { return 4 + (width + 1) / 2 * height; }

template <const auto& art>
constexpr std::size_t kArtHeight = sizeof(art) / sizeof(art[0]);
template <const auto& art>
constexpr std::size_t kArtWidth = sizeof(art[0]) - 1;

template <const auto& art, typename TWriter>
consteval void WriteColors(TWriter& writer) {
  writer.Word(kArtWidth<art>);
  writer.Word(kArtHeight<art>);
  for (const auto& row : art) {
    writer.template Row<kArtWidth<art>>(4, [&row](std::size_t x) { return ColorOf(row[x]); });
  }
}

template <const auto& art>
consteval auto ColorIcon() {
  TIconWriter<8 + ColorsSize(kArtWidth<art>, kArtHeight<art>)> writer;
  writer.Text(".NIC.I04");
  WriteColors<art>(writer);
  return writer.Whole();
}

template <const auto& art>
consteval auto MaskedIcon() {
  constexpr std::size_t kWidth = kArtWidth<art>;
  constexpr std::size_t kHeight = kArtHeight<art>;
  TIconWriter<8 + MaskSize(kWidth, kHeight) + 4 + ColorsSize(kWidth, kHeight)> writer;
  writer.Text(".NIC.IBW");
  writer.Word(kWidth);
  writer.Word(kHeight);
  for (const auto& row : art) {
    writer.template Row<kWidth>(1, [&row](std::size_t x) { return row[x] != kTransparent ? 1u : 0u; });
  }
  writer.Text(".I04");
  WriteColors<art>(writer);
  return writer.Whole();
}

}  // namespace loopbox

#endif
