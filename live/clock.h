// The clock that all processes of a run share, and that nobody sets.
#ifndef LOOPBOX_LIVE_CLOCK_H
#define LOOPBOX_LIVE_CLOCK_H

namespace live {

// Seconds of CLOCK_MONOTONIC.
double Now();

}  // namespace live

#endif
