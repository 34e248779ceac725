#include "plant/mqtt/client.h"

#include <mosquitto.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string_view>

namespace plant {
namespace {

constexpr int kKeepAlive = 5;  // seconds between signs of life, the least that the library takes

}  // namespace

std::string MqttReason(int status) {
  return status == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(status);
}

TMqttClient MakeMqttClient(const TConnection& connection, const TSecret& secret, const std::string& stateTopic,
                           void* owner, std::string* error) {
  static std::once_flag once;
  std::call_once(once, mosquitto_lib_init);
  TMqttClient client(
      mosquitto_new(connection.clientName.empty() ? nullptr : connection.clientName.c_str(), true, owner),
      mosquitto_destroy);
  int failure = client == nullptr ? MOSQ_ERR_ERRNO : MOSQ_ERR_SUCCESS;
  if (failure == MOSQ_ERR_SUCCESS && !secret.user.empty()) {
    failure = mosquitto_username_pw_set(client.get(), secret.user.c_str(), secret.password.c_str());
  }
  if (failure == MOSQ_ERR_SUCCESS && !connection.tlsFile.empty()) {
    failure = mosquitto_tls_set(client.get(), connection.tlsFile.c_str(), nullptr, nullptr, nullptr, nullptr);
  }
  if (failure == MOSQ_ERR_SUCCESS && !stateTopic.empty()) {
    constexpr std::string_view kOffline = "offline";
    failure = mosquitto_will_set(client.get(), stateTopic.c_str(), kOffline.size(), kOffline.data(), 1, true);
  }
  if (failure == MOSQ_ERR_SUCCESS) {
    failure = mosquitto_connect_async(client.get(), connection.host.c_str(), connection.port, kKeepAlive);
  }
  if (failure == MOSQ_ERR_SUCCESS) return client;
  *error = connection.host + ", port " + std::to_string(connection.port) + ": " + MqttReason(failure);
  return {nullptr, mosquitto_destroy};
}

}  // namespace plant
