// What streams down to every reader: the newest frame, what became of commands, and a
// comment where nothing else is to be said. Each text is made once for all.
#ifndef LOOPBOX_PANEL_SERVER_STREAM_H
#define LOOPBOX_PANEL_SERVER_STREAM_H

#include <microhttpd.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "panel/server/source.h"

namespace panel {

inline constexpr double kBetweenFrames = 0.1;    // seconds
inline constexpr double kBetweenComments = 5.0;  // seconds

class CStreams {
 public:
  explicit CStreams(CSource& theSource) : source(theSource) {}
  CStreams(const CStreams&) = delete;
  CStreams& operator=(const CStreams&) = delete;

  // An answer that doesn't end before its connection does; this outlives it.
  MHD_Response* Open(MHD_Connection* connection, double now);
  std::size_t Count() const { return readers.size(); }
  // Takes what the source has, and lets those go on for whom there is something.
  void Tell(double now);
  // Seconds until there may be something to tell.
  double UntilNext(double theNow) const;
  // Nobody waits any more: before the server is stopped.
  void Release();

 private:
  using TText = std::shared_ptr<const std::string>;

  struct TReader {
    CStreams* streams = nullptr;
    MHD_Connection* connection = nullptr;
    TText text;                // that is being sent
    std::size_t sent = 0;      // of it
    std::uint64_t frame = 0;   // number of the newest that it got
    std::uint64_t answer = 0;  // number of the next that it gets
    double last = 0.0;         // when it got something
    bool isSuspended = false;
  };

  static ssize_t Send(void* reader, std::uint64_t position, char* buffer, std::size_t most);
  static void Close(void* reader);
  // Null: nothing for now.
  TText NextOf(TReader& reader);
  bool HasFor(const TReader& reader) const;

  CSource& source;
  std::vector<std::unique_ptr<TReader>> readers;
  std::uint64_t frame = 0;  // number of the newest, 0: none
  TText frameText;          // of it; null: nobody has asked for it yet
  double nextFrame = 0.0;   // when it is looked for
  std::deque<TText> answers;
  std::uint64_t firstAnswer = 0;  // number of the first of those kept
  double now = 0.0;               // seconds of live::Now, of Open and Tell
};

}  // namespace panel

#endif
