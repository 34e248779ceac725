#include "panel/server/sockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace panel {
namespace {

constexpr int kPortsTried = 200;

union TAddress {
  sockaddr any;
  sockaddr_in four;
  sockaddr_in6 six;
};

bool ReadAddress(const std::string& text, TAddress* address) {
  std::memset(address, 0, sizeof *address);
  address->any.sa_family = AF_INET;
  if (inet_pton(AF_INET, text.c_str(), &address->four.sin_addr) == 1) return true;
  address->any.sa_family = AF_INET6;
  return inet_pton(AF_INET6, text.c_str(), &address->six.sin6_addr) == 1;
}

// The socket, or -1 with errno.
int ListenOn(TAddress address, int port) {
  const bool isSix = address.any.sa_family == AF_INET6;
  (isSix ? address.six.sin6_port : address.four.sin_port) = htons(static_cast<std::uint16_t>(port));
  const int made = socket(address.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (made < 0) return -1;
  const int yes = 1;
  setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  if (isSix) setsockopt(made, IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof yes);
  if (bind(made, &address.any, isSix ? sizeof address.six : sizeof address.four) == 0 && listen(made, SOMAXCONN) == 0) {
    return made;
  }
  const int failure = errno;
  close(made);
  errno = failure;
  return -1;
}

bool IsThere(const TAddress& address) {
  const int made = ListenOn(address, 0);
  if (made >= 0) close(made);
  return made >= 0;
}

}  // namespace

bool IsLoopback(const std::string& address) { return address.starts_with("127.") || address == "::1"; }

std::optional<TListening> Listen(const std::string& address, std::string* error) {
  std::vector<std::string> names = {address};
  if (address.empty()) names = {"127.0.0.1", "::1"};
  std::vector<TAddress> wanted;
  TListening listening;
  for (const std::string& name : names) {
    TAddress read;
    if (!ReadAddress(name, &read)) {
      *error = name + " is no address of numbers, as 192.168.1.20";
      return std::nullopt;
    }
    if (name == "::1" && address.empty() && !IsThere(read)) continue;  // a machine without it
    wanted.push_back(read);
    if (name == "0.0.0.0" || name == "::") continue;
    listening.addresses.push_back(read.any.sa_family == AF_INET6 ? "[" + name + "]" : name);
  }
  for (listening.port = kFirstPort; listening.port < kFirstPort + kPortsTried; ++listening.port) {
    for (const TAddress& each : wanted) {
      const int made = ListenOn(each, listening.port);
      if (made < 0) break;
      listening.descriptors.push_back(made);
    }
    if (listening.descriptors.size() == wanted.size()) return listening;
    const int failure = errno;
    Close(listening);
    errno = failure;
    if (failure != EADDRINUSE && failure != EACCES) break;
  }
  *error = "can't listen on " + names.front() + ": " + std::strerror(errno);
  return std::nullopt;
}

void Close(TListening& listening) {
  for (const int descriptor : listening.descriptors) close(descriptor);
  listening.descriptors.clear();
}

}  // namespace panel
