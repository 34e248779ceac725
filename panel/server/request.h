// What is decided of a request before anything is done: what it asks for, or why it is
// refused. Nothing here has a socket.
#ifndef LOOPBOX_PANEL_SERVER_REQUEST_H
#define LOOPBOX_PANEL_SERVER_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "panel/command.h"
#include "panel/server/source.h"
#include "panel/server/tokens.h"

namespace panel {

inline constexpr std::size_t kLongestBody = 4096;    // bytes
inline constexpr std::size_t kLongestTarget = 4096;  // bytes
inline constexpr std::size_t kMostItems = 16;        // of a trend
inline constexpr std::size_t kMostPoints = 2000;     // of an item
inline constexpr std::size_t kMostLines = 500;       // of the journal
inline constexpr int kLargestPicture = 2048;         // pixels either way
inline constexpr double kLongestShelf = 604800.0;    // seconds: a week

// As it came.
struct TRequest {
  std::string method;
  std::string target;  // path and query, as they were sent
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  bool isTooLong = false;  // the body is longer than kLongestBody
};

// By which names a panel is reached, and who may do what.
struct TGate {
  // Values of the header Host in lower case, each with the origins that its page may
  // have.
  struct THost {
    std::string host;
    std::vector<std::string> origins;
  };
  std::vector<THost> hosts;
  TTokens tokens;
};

// The gate of listening addresses ("127.0.0.1", "[::1]") with their port, and of what
// --panel-host names: NAME, with that port or without any, or NAME:PORT.
TGate MakeGate(const std::vector<std::string>& addresses, int port, bool isSecure,
               const std::vector<std::string>& named, const TTokens& tokens);
// Whether it is a host's name or address with or without a port.
bool IsHost(std::string_view text);

struct TAsked {
  enum EWhat : std::uint8_t { kFile, kModel, kStream, kHistory, kPicture, kJournal, kCommand };

  EWhat what = kFile;
  bool mayOperate = false;
  std::string file;                // of kFile: NAME of /page/NAME; "index.html" for /
  std::vector<std::string> items;  // of kHistory
  double from = 0.0;
  double to = 0.0;
  std::size_t points = 0;
  std::size_t instrument = 0;  // of kPicture
  EPicture format = EPicture::kSvg;
  int width = 0;  // 0: as the plug-in has it
  int height = 0;
  std::optional<std::uint64_t> before;  // of kJournal
  std::size_t count = 0;
  TCommand command;  // of kCommand, without its number and who asks
};

struct TRefusal {
  int status = 400;  // of HTTP
  std::string why;   // a sentence for a person
  // The path of a command whose asker has a token, for the journal; else empty.
  std::string command;
  bool mayOperate = false;
};

// What the headers say alone: of a POST before its body is there.
std::optional<TRefusal> RefusalOfHead(const TRequest& request, const TGate& gate);
// Of a whole request.
std::variant<TAsked, TRefusal> Decide(const TRequest& request, const TGate& gate, const TNames& names);

}  // namespace panel

#endif
