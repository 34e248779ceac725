// Each point of a connection, read once.
#ifndef LOOPBOX_PLANT_PROBE_H
#define LOOPBOX_PLANT_PROBE_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "plant/connections.h"

namespace plant {

struct TProbed {
  std::string name;   // of the element
  std::string place;  // "holding[10]", or the topic
  bool isOutput = false;
  std::string error;                 // what went wrong; else empty, and what follows stands
  double time = 0.0;                 // until the answer, seconds; of a topic until its message
  std::vector<std::uint16_t> words;  // of Modbus, as the device has them
  // The value, scaled, in the orders abcd, cdab, badc, dcba; of a bit or a topic one alone.
  std::vector<double> values;
  std::string text;         // of MQTT: the message, fit to be printed, and cut if it is long
  bool isRetained = false;  // of MQTT: the broker kept it, so its age is unknown
};

// Connects, and tells each point as soon as it is known: inputs, then outputs that can
// be read back, in the order of the text. Writes nothing. An MQTT input is waited for,
// for the connection's time-out or three seconds, whichever is longer; outputs of MQTT
// aren't told. False with a message where there is no connection.
bool Probe(const TConnection& connection, const std::function<void(const TProbed&)>& tell, std::string* error);

}  // namespace plant

#endif
