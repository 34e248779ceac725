// A broker of MQTT: inputs are subscribed to, outputs published.
//
// A retained message is of unknown age. So what arrives retained is no measurement,
// and commands nothing; and no value is published retained. Only NAME/state is, for
// the client's name: "online", and "offline" at the end or, by the broker, when the
// connection was lost.
#ifndef LOOPBOX_PLANT_MQTT_MQTT_LINK_H
#define LOOPBOX_PLANT_MQTT_MQTT_LINK_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plant/link.h"
#include "plant/mqtt/client.h"
#include "plant/mqtt/secret.h"

struct mosquitto_message;

namespace plant {

class CMqttLink final : public CLink {
 public:
  CMqttLink(const TConnection& connection, CShare& share, const CControl& control, const TSecret& secret);
  ~CMqttLink() override;

  void Drive() override;
  void Leave() override;

 protected:
  bool TrySafe(std::string* error) override;

 private:
  // A client that was disconnected isn't used again.
  bool Connect(std::string* error);
  void Lose(const std::string& error);
  // Lets the client work until then, or until the share's event came.
  void Work(double until);
  double PublishOutputs();  // yields when it is to be done again at the latest
  bool PublishText(const std::string& topic, const std::string& text, bool isRetained, int* id);
  bool PublishValue(std::size_t output, const TWanted& wanted);
  std::string StateTopic() const;

  void OnConnect(int code);
  void OnMessage(const mosquitto_message& message);
  void OnPublished(int id);
  void OnSubscribed(int id, bool isGranted);

  const TSecret& secret;
  TMqttClient client;
  double connectedBy = 0.0;  // it has failed if it isn't connected by then
  bool isConnected = false;  // and has asked for its inputs
  bool wasConnected = false;
  std::string refusal;  // of the broker
  int subscription = 0;
  std::map<int, double> unanswered;  // what the broker hasn't acknowledged, by its number: when it was sent

  struct TPublished {
    std::optional<double> value;
    EQuality quality = EQuality::kGood;
    double next = 0.0;  // not before
  };
  std::vector<TPublished> published;  // by output
};

}  // namespace plant

#endif
