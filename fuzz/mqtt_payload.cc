// Any bytes as a message of MQTT. They are a value or none; what is told of a value is
// read as the same again.
#include <cmath>

#include "fuzz/harness.h"
#include "plant/mqtt/payload.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::CBytes bytes(data, size);
  const bool isJson = bytes.Below(2) == 1;
  const std::optional<plant::TPayload> read = plant::ReadPayload(bytes.Rest());
  if (!read || !std::isfinite(read->value)) return 0;
  const std::string told = plant::PayloadOf(read->value, read->quality, false, isJson, 1.5);
  const std::optional<plant::TPayload> again = plant::ReadPayload(told);
  fuzz::Check(again && again->value == read->value && again->quality == read->quality,
              "a payload is read as what it was told of");
  return 0;
}
