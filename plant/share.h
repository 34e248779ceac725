// What a connection's link shares with the loop.
#ifndef LOOPBOX_PLANT_SHARE_H
#define LOOPBOX_PLANT_SHARE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "live/newest.h"
#include "live/ring.h"
#include "live/shared_block.h"
#include "plant/connections.h"
#include "plant/links.h"

namespace plant {

struct TMessage {
  char text[256];  // ends with 0; what is longer is cut between characters
};
TMessage MessageOf(const std::string& text);

enum class ESafe : std::uint8_t { kNotYet, kWritten, kFailed };

struct TLinkState {
  std::atomic<bool> isReady{false};  // then `readBack` of its outputs stands, too
  std::atomic<ESafe> safe{ESafe::kNotYet};
  TMessage whyNotSafe{};  // stands before kFailed does
  std::atomic<std::uint64_t> polls{0};
  std::atomic<std::uint64_t> missed{0};
  std::atomic<std::uint64_t> reconnections{0};
  std::atomic<std::uint64_t> limited{0};
  std::atomic<double> roundTripMedian{0.0};
  std::atomic<double> roundTripWorst{0.0};
};

// The loop's life, for all links.
struct TBeat {
  std::atomic<double> last{0.0};  // seconds of the clock; 0: there was none yet
  std::atomic<bool> isFinishing{false};
  TMessage why{};  // stands once the links' process has ended by itself
};

// One connection's part of the block, which both sides know by the same addresses.
class CShare {
 public:
  static std::size_t Bytes(const TConnection& connection);
  CShare(live::CSharedBlock& block, const TConnection& connection);

  live::CNewest<TReading> readings;
  live::CNewest<TWanted> outputs;
  live::CRing<TMessage, 32> messages;
  TLinkState* state;
  double* readBack;  // NaN where it couldn't be
  int wake = -1;     // an event's descriptor, of the links' process alone: the end has come
};

// What a link needs to bring its outputs to their safe values, at most: seconds.
double SafeBound(const TConnection& connection);

// Whether anything of it has to be brought to a safe value.
bool HasSafe(const TConnection& connection);

}  // namespace plant

#endif
