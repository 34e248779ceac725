#include "runtime/platform/clock.h"

#include "host/panes.h"

namespace {

std::uint32_t now = 0;

}  // namespace

namespace runtime {

void SetClock(std::uint32_t milliseconds) { now = milliseconds % vcore::kMillisecondsPerDay; }

}  // namespace runtime

namespace vcore {

std::uint32_t GetTimeMS() { return now; }

}  // namespace vcore
