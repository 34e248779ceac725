// A meter: its frame, and in it the face of its mode.
#ifndef LOOPBOX_PAINTING_METER_PAINTER_H
#define LOOPBOX_PAINTING_METER_PAINTER_H

#include <string>

#include "host/gaugekit.h"
#include "painting/canvas.h"

namespace painting {

// What a meter doesn't hold itself.
struct TMeterText {
  std::u16string name;
  std::u16string unit;
  bool isModeGiven = true;  // else name and unit are shown
  // Of its history's samples, seconds; a step of 0: it is not known when they were.
  double newest = 0;
  double step = 0;
};

// At the origin, in the extent of the meter's rectangle. The topmost `reserved`
// pixels are left to a description that stands there.
void PaintMeter(CCanvas& canvas, const gaugekit::CMeter& meter, const TMeterText& text, double reserved);

}  // namespace painting

#endif
