// The axis of time of a plot: seconds, and on a long one days, hours and minutes.
#ifndef LOOPBOX_PAINTING_TIME_SCALE_H
#define LOOPBOX_PAINTING_TIME_SCALE_H

#include <cstddef>
#include <vector>

#include "painting/scale.h"

namespace painting {

struct TTimeAxis {
  std::vector<TTick> ticks;  // all of them with a text
  std::u16string title;
  bool isClock;  // else the texts are seconds
};

// About `most` ticks at round times, in seconds from < to. An axis that reaches
// beyond two hours is told in h:min; where a day ends, and at the first tick, the
// day stands too.
TTimeAxis TimeAxis(double from, double to, std::size_t most);

}  // namespace painting

#endif
