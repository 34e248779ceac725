// Serves a panel's page, what it asks for, and takes what a person commands: HTTP by
// libmicrohttpd, in the one thread of the caller.
//
//   auto server = panel::CServer::Start(serving, source, &error);
//   while (server->Serve(-1, 0.5)) { ... }
#ifndef LOOPBOX_PANEL_SERVER_SERVER_H
#define LOOPBOX_PANEL_SERVER_SERVER_H

#include <memory>
#include <optional>
#include <string>

#include "panel/server/request.h"
#include "panel/server/sockets.h"
#include "panel/server/source.h"

namespace panel {

inline constexpr std::size_t kMostConnections = 64;
inline constexpr std::size_t kMostStreams = 56;

// PEM, both with what is needed of a chain.
struct TCertificate {
  std::string certificate;
  std::string key;
};

struct TServing {
  TListening listening;
  std::optional<TCertificate> certificate;  // none: plain HTTP
  TGate gate;
  double requestTime = 10.0;  // seconds in which a request is whole
  double stillTime = 30.0;    // after which who takes nothing is left, seconds; whole
};

class CServer {
 public:
  // `serving` and `source` outlive it. Null with a message.
  static std::unique_ptr<CServer> Start(const TServing& serving, CSource& source, std::string* error);
  // Whether certificate and key belong together.
  static bool Check(const TCertificate& certificate, std::string* error);
  ~CServer();
  CServer(const CServer&) = delete;
  CServer& operator=(const CServer&) = delete;

  // Serves for so many seconds, or until a signal comes. False when the descriptor
  // `watched` (-1: none) hangs up.
  bool Serve(int watched, double seconds);

 private:
  struct TState;
  explicit CServer(std::unique_ptr<TState> theState);
  std::unique_ptr<TState> state;
};

}  // namespace panel

#endif
