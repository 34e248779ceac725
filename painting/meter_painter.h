// A meter: its frame, and in it the face of its mode.
#ifndef LOOPBOX_PAINTING_METER_PAINTER_H
#define LOOPBOX_PAINTING_METER_PAINTER_H

#include "host/gaugekit.h"
#include "painting/canvas.h"

namespace painting {

// At the origin, in the extent of the meter's rectangle. The topmost `reserved`
// pixels are left to a description that stands there.
void PaintMeter(CCanvas& canvas, const gaugekit::CMeter& meter, double reserved);

}  // namespace painting

#endif
