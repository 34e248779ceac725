// A client of a broker, by libmosquitto.
#ifndef LOOPBOX_PLANT_MQTT_CLIENT_H
#define LOOPBOX_PLANT_MQTT_CLIENT_H

#include <memory>
#include <string>

#include "plant/connections.h"
#include "plant/mqtt/secret.h"

struct mosquitto;

namespace plant {

using TMqttClient = std::unique_ptr<mosquitto, void (*)(mosquitto*)>;

// A new one, which begins to connect and doesn't wait for it. With a topic for its state
// the broker publishes "offline" there when it loses the client. Callbacks get `owner`.
// Null with a message.
TMqttClient MakeMqttClient(const TConnection& connection, const TSecret& secret, const std::string& stateTopic,
                           void* owner, std::string* error);

// What a status of the library means.
std::string MqttReason(int status);

}  // namespace plant

#endif
