// What meters of an instrument don't hold themselves, for a picture of it.
#ifndef LOOPBOX_PAINTING_METER_TEXTS_H
#define LOOPBOX_PAINTING_METER_TEXTS_H

#include <functional>

#include "painting/views.h"
#include "runtime/runtime.h"

namespace painting {

// At that time, in seconds. `stepOf` gives the seconds between the samples of a
// meter's history, 0 where it is not known when they were.
TMeterTexts TextsOf(const runtime::CInstrumentHandle& instrument, double time,
                    const std::function<double(const gaugekit::CMeter&)>& stepOf);

}  // namespace painting

#endif
