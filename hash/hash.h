// Hashes of bytes and files, and bytes as text, by Nettle.
#ifndef LOOPBOX_HASH_HASH_H
#define LOOPBOX_HASH_HASH_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace hash {

using TSha256 = std::array<std::uint8_t, 32>;  // FIPS 180-4

TSha256 Sha256(std::string_view bytes);
// Of a file's whole content; none with a message when it can't be read.
std::optional<TSha256> Sha256OfFile(const std::string& name, std::string* error);

std::string Hex(std::span<const std::uint8_t> bytes);     // lower case
std::string Base64(std::span<const std::uint8_t> bytes);  // of RFC 4648, padded
std::string Base64(std::string_view bytes);

}  // namespace hash

#endif
