#include "runtime/text/utf8.h"

#include <cstdint>
#include <cstring>

namespace runtime {
namespace {

// Whether eight bytes from there on are ASCII characters.
bool IsAscii(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof(word));
  return (word & 0x8080808080808080u) == 0;
}

}  // namespace

std::size_t WellFormedLength(std::string_view text) {
  std::size_t length = 0;
  for (std::size_t next = 0; next < text.size(); length = next) {
    if (text.size() - next >= sizeof(std::uint64_t) && IsAscii(text.data() + next)) {
      next += sizeof(std::uint64_t);
    } else if (NextCodePoint(text, &next) == kIllFormed) {
      break;
    }
  }
  return length;
}

}  // namespace runtime
