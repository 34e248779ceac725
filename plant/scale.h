// A scale's straight line, both ways.
#ifndef LOOPBOX_PLANT_SCALE_H
#define LOOPBOX_PLANT_SCALE_H

#include <optional>

#include "plant/connections.h"

namespace plant {

// Without a scale the number itself.
inline double FromRaw(double raw, const std::optional<TScale>& scale) {
  if (!scale) return raw;
  return scale->from + (raw - scale->rawFrom) * (scale->to - scale->from) / (scale->rawTo - scale->rawFrom);
}

inline double ToRaw(double value, const std::optional<TScale>& scale) {
  if (!scale) return value;
  return scale->rawFrom + (value - scale->from) * (scale->rawTo - scale->rawFrom) / (scale->to - scale->from);
}

}  // namespace plant

#endif
