#include "plant/probe.h"

#include <mosquitto.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "live/clock.h"
#include "plant/modbus/line.h"
#include "plant/modbus/packing.h"
#include "plant/modbus/requests.h"
#include "plant/mqtt/client.h"
#include "plant/mqtt/payload.h"
#include "plant/resolve.h"
#include "plant/scale.h"
#include "runtime/diagnostic.h"

namespace plant {
namespace {

constexpr EOrder kOrders[] = {EOrder::kAbcd, EOrder::kCdab, EOrder::kBadc, EOrder::kDcba};
constexpr double kShortestWait = 3.0;    // for a message, seconds
constexpr std::size_t kMostShown = 200;  // bytes of a message

bool ProbeModbus(const TConnection& connection, const std::function<void(const TProbed&)>& tell, std::string* error) {
  CLine line(connection);
  bool isConnected = line.Connect(error);
  if (!isConnected) return false;
  const auto probe = [&](const std::string& name, const TPoint& point, bool isOutput) {
    const TRegisters& registers = point.registers;
    TProbed probed;
    probed.name = name;
    probed.place = PlaceOf(registers);
    probed.isOutput = isOutput;
    TWords words{};
    const double before = live::Now();
    EAnswer answer = EAnswer::kMissed;
    if (isConnected || line.Connect(&probed.error)) {
      answer = line.Read(connection.unit, registers.table, registers.address, WordsOf(registers.type), words.data(),
                         &probed.error);
    }
    probed.time = live::Now() - before;
    isConnected = answer != EAnswer::kMissed;
    if (answer == EAnswer::kGood) {
      probed.words.assign(words.begin(), words.begin() + WordsOf(registers.type));
      for (const EOrder order : kOrders) {
        probed.values.push_back(FromRaw(Unpacked(words.data(), registers.type, order), point.scale));
        if (registers.type == EType::kBit) break;
      }
    }
    tell(probed);
  };
  for (const TInput& input : connection.inputs) probe(input.name, input.point, false);
  for (const TOutput& output : connection.outputs) probe(output.name, output.point, true);
  return true;
}

// What a client's callbacks fill.
struct TMessages {
  std::vector<std::string> topics;
  bool isConnected = false;
  std::string refusal;
  std::map<std::string, TProbed> found;  // by topic
};

void Subscribe(mosquitto* client, void* owner, int code) {
  TMessages& messages = *static_cast<TMessages*>(owner);
  if (code != 0) messages.refusal = mosquitto_connack_string(code);
  messages.isConnected = code == 0;
  for (const std::string& topic : messages.topics) mosquitto_subscribe(client, nullptr, topic.c_str(), 1);
}

void TakeMessage(mosquitto* /*client*/, void* owner, const mosquitto_message* message) {
  TMessages& messages = *static_cast<TMessages*>(owner);
  const std::string_view bytes(static_cast<const char*>(message->payload),
                               static_cast<std::size_t>(message->payloadlen));
  TProbed& probed = messages.found[message->topic];
  probed.time = live::Now();
  probed.text = runtime::Printable(std::string(bytes.substr(0, kMostShown)));
  probed.isRetained = message->retain;
  probed.values.clear();
  if (const std::optional<TPayload> payload = ReadPayload(bytes)) probed.values = {payload->value};
}

bool ProbeMqtt(const TConnection& connection, const std::function<void(const TProbed&)>& tell, std::string* error) {
  TSecret secret;
  if (!connection.secretFile.empty() && !ReadSecret(connection.secretFile, &secret, error)) return false;
  TMessages messages;
  for (const TInput& input : connection.inputs) messages.topics.push_back(input.point.topic);
  TConnection nameless = connection;
  nameless.clientName.clear();  // a run that goes on keeps its connection
  const TMqttClient client = MakeMqttClient(nameless, secret, "", &messages, error);
  if (client == nullptr) return false;
  mosquitto_connect_callback_set(client.get(), Subscribe);
  mosquitto_message_callback_set(client.get(), TakeMessage);
  const double begin = live::Now();
  const double until = begin + std::max(connection.timeout, kShortestWait);
  while (live::Now() < until && messages.refusal.empty() && messages.found.size() < messages.topics.size()) {
    const int failure = mosquitto_loop(client.get(), 20, 1);
    if (failure == MOSQ_ERR_SUCCESS) continue;
    if (messages.refusal.empty()) messages.refusal = MqttReason(failure);
  }
  if (!messages.isConnected) {
    *error = messages.refusal.empty() ? "the broker doesn't answer" : messages.refusal;
    return false;
  }
  for (const TInput& input : connection.inputs) {
    const auto found = messages.found.find(input.point.topic);
    TProbed probed;
    if (found != messages.found.end()) {
      probed = found->second;
      probed.time -= begin;
      for (double& value : probed.values) value = FromRaw(value, input.point.scale);
      if (probed.values.empty()) probed.error = "its message is no value";
    } else {
      probed.error = "no message came";
    }
    probed.name = input.name;
    probed.place = input.point.topic;
    tell(probed);
  }
  return true;
}

}  // namespace

bool Probe(const TConnection& connection, const std::function<void(const TProbed&)>& tell, std::string* error) {
  TConnection resolved = connection;
  if (!Resolve(&resolved, error)) return false;
  return connection.kind == TConnection::kModbus ? ProbeModbus(resolved, tell, error)
                                                 : ProbeMqtt(resolved, tell, error);
}

}  // namespace plant
