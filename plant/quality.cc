#include "plant/quality.h"

namespace plant {

const char* NameOf(EQuality quality) {
  switch (quality) {
    case EQuality::kGood:
      return "good";
    case EQuality::kStale:
      return "stale";
    case EQuality::kLost:
      return "lost";
    case EQuality::kOutOfRange:
      return "out of range";
    case EQuality::kNotFinite:
      break;
  }
  return "not finite";
}

}  // namespace plant
