#include "panel/server/tokens.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "hash/hash.h"

namespace panel {

std::optional<TTokens> MakeTokens(std::string* error) {
  std::array<std::uint8_t, 16> bits{};
  TTokens tokens;
  for (std::string* const token : {&tokens.see, &tokens.operate}) {
    if (getrandom(bits.data(), bits.size(), 0) != static_cast<ssize_t>(bits.size())) {
      *error = "no random numbers: " + std::string(std::strerror(errno));
      return std::nullopt;
    }
    *token = hash::Hex(bits);
  }
  return tokens;
}

bool IsSameSecret(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) return false;
  unsigned differs = 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    differs |= static_cast<unsigned>(static_cast<unsigned char>(left[i]) ^ static_cast<unsigned char>(right[i]));
  }
  return differs == 0;
}

}  // namespace panel
