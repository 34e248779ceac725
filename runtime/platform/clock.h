// The application's clock, which stands still within a period.
#ifndef LOOPBOX_RUNTIME_PLATFORM_CLOCK_H
#define LOOPBOX_RUNTIME_PLATFORM_CLOCK_H

#include <cstdint>

namespace runtime {

// What vcore::GetTimeMS tells from now on; taken modulo a day.
void SetClock(std::uint32_t milliseconds);

}  // namespace runtime

#endif
