// What stands in a journal, as it passes from the loop and from the panel's process to
// the one that writes it.
#ifndef LOOPBOX_PANEL_JOURNAL_RECORD_H
#define LOOPBOX_PANEL_JOURNAL_RECORD_H

#include <cstddef>
#include <cstdint>

#include "live/ring.h"
#include "panel/command.h"

namespace panel {

// The deeds first, in their order.
enum class EEntry : std::uint8_t {
  kSet,
  kParameters,
  kTakeBack,
  kCall,
  kAcknowledge,
  kShelve,
  kUnshelve,
  kService,
  kStop,
  kRelease,
  kUnlatch,
  kStart,      // of the run
  kEnd,        // of the run
  kCame,       // an alarm
  kReturned,   // an alarm
  kUnshelved,  // an alarm, since its time is over
  kRequest     // one that the panel's process has refused and that is no deed
};
constexpr EEntry EntryOf(EDeed deed) { return static_cast<EEntry>(deed); }
// As lines have it: "set", …, "start", "end", "came", "returned", "unshelved", "request".
const char* NameOf(EEntry entry);

inline constexpr std::size_t kThingLength = 128;  // bytes, with the closing zero

struct TJournalRecord {
  double wall = 0.0;         // seconds of the epoch
  double time = 0.0;         // seconds of the run
  std::uint64_t period = 0;  // of the run
  EEntry what = EEntry::kStart;
  bool isRefused = false;
  std::uint32_t oldCount = 0;
  std::uint32_t newCount = 0;
  double old[kMostValues] = {};
  double now[kMostValues] = {};
  char who[kWhoLength] = {};      // token and address; "run" for what the run does by itself
  char thing[kThingLength] = {};  // operator, alarm, application, or what was asked for
  char why[kWhyLength] = {};
};

using TJournalRing = live::CRing<TJournalRecord, 256>;

}  // namespace panel

#endif
