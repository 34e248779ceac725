// Times as ISO 8601 writes them, in its extended form.
#ifndef LOOPBOX_WORKBENCH_RUN_ISO_TIME_H
#define LOOPBOX_WORKBENCH_RUN_ISO_TIME_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace workbench {

struct TInstant {
  std::int64_t seconds = 0;  // since 1970, in UTC, or of the local clock where no offset is given
  double fraction = 0.0;     // of a second
  bool hasOffset = false;
};

// YYYY-MM-DD, or the date with "T" or a blank and hh:mm, hh:mm:ss or hh:mm:ss.fff (or a
// comma), then nothing, "Z" or an offset ±hh, ±hhmm or ±hh:mm. None for other texts.
std::optional<TInstant> ReadIsoTime(std::string_view text);

}  // namespace workbench

#endif
