// The name and the password for a broker.
#ifndef LOOPBOX_PLANT_MQTT_SECRET_H
#define LOOPBOX_PLANT_MQTT_SECRET_H

#include <string>

namespace plant {

struct TSecret {
  std::string user;
  std::string password;
};

// Of a file with "user:password" in its first line, which nobody but its owner may read
// or write. False with a message, which tells nothing of its content.
bool ReadSecret(const std::string& path, TSecret* secret, std::string* error);

}  // namespace plant

#endif
