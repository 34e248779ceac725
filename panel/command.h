// What passes between a panel and the loop: small records in two rings of the shared
// block, one in each direction.
#ifndef LOOPBOX_PANEL_COMMAND_H
#define LOOPBOX_PANEL_COMMAND_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "live/ring.h"

namespace panel {

enum class EDeed : std::uint8_t {
  kSet,          // an operator's element: values[0]
  kParameters,   // an operator's instrument: as many values as its parameters
  kTakeBack,     // the parameters that it had before the last kParameters
  kCall,         // an operator's procedure: as many values as its arguments
  kAcknowledge,  // an alarm
  kShelve,       // an alarm, for values[0] seconds
  kUnshelve,     // an alarm
  kService,      // an alarm: out of service while values[0] isn't 0
  kStop,         // all outputs of a plant to their safe values, where they stay
  kRelease,      // and back
  kUnlatch,      // all outputs of a plant that have latched
};

inline constexpr std::size_t kMostValues = 8;
inline constexpr std::size_t kWhoLength = 80;   // bytes, with the closing zero
inline constexpr std::size_t kWhyLength = 256;  // bytes, with the closing zero

// Into a field of such a record; what is too long is cut between characters of UTF-8.
template <std::size_t kLength>
void SetText(char (&field)[kLength], std::string_view text) {
  std::size_t size = std::min(text.size(), kLength - 1);
  while (size < text.size() && size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  std::copy_n(text.begin(), size, field);
  field[size] = 0;
}

// "set", "parameters", "take_back", "call", "acknowledge", "shelve", "unshelve",
// "service", "stop", "release", "unlatch".
const char* NameOf(EDeed deed);

// What a person asks for.
struct TCommand {
  std::uint64_t number = 0;  // of the asker's, rising from 1
  EDeed deed = EDeed::kSet;
  std::uint32_t thing = 0;  // number of the operator's entry or of the alarm; 0 where there is none
  std::uint32_t valueCount = 0;
  double values[kMostValues] = {};
  char who[kWhoLength] = {};  // token and address, as the journal names them: "operate 127.0.0.1"
};

// What became of it.
struct TAnswer {
  std::uint64_t number = 0;
  bool isDone = false;        // else it was refused
  std::uint64_t period = 0;   // in which
  double old = 0.0;           // of a kSet: what stood there; NaN where there is none
  char why[kWhyLength] = {};  // of a refused one, whole
};

using TCommandRing = live::CRing<TCommand, 256>;
using TAnswerRing = live::CRing<TAnswer, 1024>;

}  // namespace panel

#endif
