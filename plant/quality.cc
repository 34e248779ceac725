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

std::optional<EQuality> QualityNamed(std::string_view name) {
  for (const EQuality quality :
       {EQuality::kGood, EQuality::kStale, EQuality::kLost, EQuality::kOutOfRange, EQuality::kNotFinite}) {
    if (name == NameOf(quality)) return quality;
  }
  return std::nullopt;
}

}  // namespace plant
