// What a message of MQTT says of a value, and how one is told.
#ifndef LOOPBOX_PLANT_MQTT_PAYLOAD_H
#define LOOPBOX_PLANT_MQTT_PAYLOAD_H

#include <optional>
#include <string>
#include <string_view>

#include "plant/quality.h"

namespace plant {

struct TPayload {
  double value = 0.0;                  // true is 1, false 0
  EQuality quality = EQuality::kGood;  // kLost where the sender calls it anything else than good
};

// A bare number, which may be infinite or no number ("nan"), true or false, or an object
// of JSON with one of these as its member "value" and perhaps a text "quality". The time
// of the sender's clock isn't looked at. None when it is nothing of that; whatever the
// bytes are.
std::optional<TPayload> ReadPayload(std::string_view bytes);

// The bare number, or {"value": …, "time": …, "quality": …} with seconds since 1970. The
// value is finite.
std::string PayloadOf(double value, EQuality quality, bool isBoolean, bool isJson, double time);

}  // namespace plant

#endif
