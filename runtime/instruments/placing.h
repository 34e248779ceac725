// Where instruments stand whose definitions give no place.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_PLACING_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_PLACING_H

#include "runtime/instruments/application_state.h"

namespace runtime {

// Once all are read: side by side in rows below those that have a place, in the size
// that each gave itself.
void PlaceInstruments(TApplicationState& application);

}  // namespace runtime

#endif
