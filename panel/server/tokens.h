// What a link carries, by which a person may see or operate.
#ifndef LOOPBOX_PANEL_SERVER_TOKENS_H
#define LOOPBOX_PANEL_SERVER_TOKENS_H

#include <optional>
#include <string>
#include <string_view>

namespace panel {

struct TTokens {
  std::string see;  // 128 bits each, as 32 hexadecimal digits
  std::string operate;
};

// New ones, of the system's random numbers. None with a message.
std::optional<TTokens> MakeTokens(std::string* error);

// Whether two texts are the same. How long it takes tells nothing of where they differ.
bool IsSameSecret(std::string_view left, std::string_view right);

}  // namespace panel

#endif
