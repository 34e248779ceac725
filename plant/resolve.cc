#include "plant/resolve.h"

#include <netdb.h>
#include <sys/socket.h>

namespace plant {

bool Resolve(TConnection* connection, std::string* error) {
  if (connection->host.empty() || !connection->tlsFile.empty()) return true;
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int failure = getaddrinfo(connection->host.c_str(), nullptr, &hints, &found);
  char address[NI_MAXHOST] = "";
  if (failure == 0) {
    getnameinfo(found->ai_addr, found->ai_addrlen, address, sizeof(address), nullptr, 0, NI_NUMERICHOST);
    freeaddrinfo(found);
    connection->host = address;
    return true;
  }
  *error = connection->name + ": the host '" + connection->host + "' isn't found: " + gai_strerror(failure);
  return false;
}

}  // namespace plant
