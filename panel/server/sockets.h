// Where a panel listens.
#ifndef LOOPBOX_PANEL_SERVER_SOCKETS_H
#define LOOPBOX_PANEL_SERVER_SOCKETS_H

#include <optional>
#include <string>
#include <vector>

namespace panel {

inline constexpr int kFirstPort = 8480;

struct TListening {
  std::vector<int> descriptors;        // who keeps it closes them
  std::vector<std::string> addresses;  // as a link names them: "127.0.0.1", "[::1]"; none of "0.0.0.0" and "::"
  int port = 0;
};

bool IsLoopback(const std::string& address);  // of numbers: "127.0.0.1", "::1"

// Listens on an address of numbers, or where it is empty on 127.0.0.1 and, if there is
// one, ::1: on the first port from kFirstPort on that is free for all. None with a
// message.
std::optional<TListening> Listen(const std::string& address, std::string* error);
void Close(TListening& listening);

}  // namespace panel

#endif
