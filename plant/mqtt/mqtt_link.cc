#include "plant/mqtt/mqtt_link.h"

#include <mosquitto.h>
#include <poll.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <numeric>
#include <set>

#include "live/clock.h"
#include "plant/mqtt/payload.h"
#include "plant/scale.h"

namespace plant {
namespace {

constexpr std::size_t kMostUnanswered = 64;
constexpr int kMostPayload = 1 << 20;  // of a message that is looked at, bytes

double SecondsSince1970() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

}  // namespace

CMqttLink::CMqttLink(const TConnection& theConnection, CShare& theShare, const CControl& theControl,
                     const TSecret& theSecret)
    : CLink(theConnection, theShare, theControl),
      secret(theSecret),
      client(nullptr, nullptr),
      published(theConnection.outputs.size()) {}

CMqttLink::~CMqttLink() = default;

std::string CMqttLink::StateTopic() const { return connection.clientName + "/state"; }

bool CMqttLink::Connect(std::string* error) {
  isConnected = false;
  refusal.clear();
  unanswered.clear();
  std::fill(published.begin(), published.end(), TPublished());
  client = MakeMqttClient(connection, secret, control.IsDry() ? "" : StateTopic(), this, error);
  if (client == nullptr) return false;
  mosquitto_connect_callback_set(
      client.get(), [](mosquitto*, void* self, int code) { static_cast<CMqttLink*>(self)->OnConnect(code); });
  mosquitto_message_callback_set(client.get(), [](mosquitto*, void* self, const mosquitto_message* message) {
    static_cast<CMqttLink*>(self)->OnMessage(*message);
  });
  mosquitto_publish_callback_set(
      client.get(), [](mosquitto*, void* self, int id) { static_cast<CMqttLink*>(self)->OnPublished(id); });
  mosquitto_subscribe_callback_set(client.get(), [](mosquitto*, void* self, int id, int count, const int* granted) {
    static_cast<CMqttLink*>(self)->OnSubscribed(id, std::all_of(granted, granted + count, [](int level) {
                                                  return level <= 2;  // else it is a refusal
                                                }));
  });
  connectedBy = live::Now() + connection.timeout;
  return true;
}

void CMqttLink::Lose(const std::string& error) {
  client.reset();
  if (!isConnected) failures = std::max(failures, 1);  // no trying at once
  isConnected = false;
  NoteFailure(error);
}

void CMqttLink::OnConnect(int code) {
  if (code != 0) {
    refusal = std::string("the broker refuses the connection: ") + mosquitto_connack_string(code);
    return;
  }
  std::set<std::string> topics;
  for (const TInput& input : connection.inputs) topics.insert(input.point.topic);
  std::vector<char*> pointers(topics.size());
  std::transform(topics.begin(), topics.end(), pointers.begin(),
                 [](const std::string& topic) { return const_cast<char*>(topic.c_str()); });
  if (!pointers.empty()) {
    const int failure = mosquitto_subscribe_multiple(client.get(), &subscription, static_cast<int>(pointers.size()),
                                                     pointers.data(), 1, 0, nullptr);
    if (failure == MOSQ_ERR_SUCCESS) {
      unanswered[subscription] = live::Now();
    } else {
      refusal = "can't subscribe: " + MqttReason(failure);
      return;
    }
  }
  if (!control.IsDry()) {
    int id = 0;
    PublishText(StateTopic(), "online", true, &id);
  }
  if (wasConnected) share.state->reconnections.fetch_add(1);
  isConnected = wasConnected = true;
  NoteSuccess();
  if (pointers.empty()) share.state->isReady.store(true);
}

void CMqttLink::OnPublished(int id) {
  const auto found = unanswered.find(id);
  if (found == unanswered.end()) return;
  NoteRoundTrip(live::Now() - found->second);
  unanswered.erase(found);
}

void CMqttLink::OnSubscribed(int id, bool isGranted) {
  OnPublished(id);
  if (isGranted) {
    share.state->isReady.store(true);
  } else {
    refusal = "the broker refuses a subscription";
  }
}

void CMqttLink::OnMessage(const mosquitto_message& message) {
  if (message.retain || message.payloadlen > kMostPayload) return;
  const std::string_view bytes(static_cast<const char*>(message.payload), static_cast<std::size_t>(message.payloadlen));
  for (std::size_t i = 0; i < connection.inputs.size(); ++i) {
    const TInput& input = connection.inputs[i];
    if (input.point.topic != message.topic) continue;
    const std::optional<TPayload> payload = ReadPayload(bytes);
    const std::string subject = "message " + input.name;
    if (!payload) {
      share.state->missed.fetch_add(1);
      readings[i].quality = EQuality::kNotFinite;
      Report(subject, input.name + ": a message of '" + input.point.topic + "' is no value");
      continue;
    }
    Clear(subject);
    share.state->polls.fetch_add(1);
    if (payload->quality != EQuality::kGood) {
      readings[i].quality = payload->quality;
    } else {
      const double value = FromRaw(payload->value, input.point.scale);
      Take(i, input.isBoolean && std::isfinite(value) ? value != 0.0 : value);
    }
  }
  Publish();
}

void CMqttLink::Work(double until) {
  const bool wants = mosquitto_want_write(client.get());
  // While a secure connection is being made, the client only seems to have room to write.
  if (!isConnected && wants) {
    Wait(std::min(until, live::Now() + 1e-3));
  } else {
    Wait(std::min(until, live::Now() + 1.0), mosquitto_socket(client.get()),
         static_cast<short>(wants ? POLLIN | POLLOUT : POLLIN));
  }
  const int failure = mosquitto_loop(client.get(), 0, 1);
  const double now = live::Now();
  std::string error = refusal;
  if (error.empty() && failure != MOSQ_ERR_SUCCESS) error = "the connection is lost: " + MqttReason(failure);
  const double oldest = std::accumulate(unanswered.begin(), unanswered.end(), now,
                                        [](double least, const auto& sent) { return std::min(least, sent.second); });
  if (error.empty() && (isConnected ? now - oldest > connection.timeout : now > connectedBy)) {
    share.state->missed.fetch_add(1);
    error = "no answer within the time-out";
  }
  if (!error.empty()) Lose(error);
}

void CMqttLink::Drive() {
  std::string error;
  while (!control.IsEnding()) {
    if (client == nullptr && live::Now() >= nextTry && !Connect(&error)) Lose(error);
    if (client == nullptr) {
      Wait(nextTry);
      continue;
    }
    const double next = isConnected ? PublishOutputs() : connectedBy;
    Work(std::min(next, live::Now() + connection.timeout));
  }
}

double CMqttLink::PublishOutputs() {
  const double now = live::Now();
  double next = std::numeric_limits<double>::infinity();
  if (control.IsDry()) return next;
  const std::span<const TWanted> wanted = share.outputs.Take();
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const double every = connection.outputs[i].point.every;
    TPublished& last = published[i];
    if (!std::isfinite(wanted[i].value)) continue;
    if (every == 0.0 && wanted[i].value == last.value && wanted[i].quality == last.quality) continue;
    if (now >= last.next) {
      // The newest value waits here, not a queue of older ones in the client, which goes
      // on with the next answer.
      if (unanswered.size() >= kMostUnanswered || mosquitto_want_write(client.get())) continue;
      if (!PublishValue(i, wanted[i])) continue;
      last.value = wanted[i].value;
      last.quality = wanted[i].quality;
      last.next = last.next + every > now ? last.next + every : now + every;
    }
    if (every > 0.0) next = std::min(next, last.next);
  }
  return next;
}

bool CMqttLink::PublishValue(std::size_t output, const TWanted& wanted) {
  const TOutput& about = connection.outputs[output];
  const std::string text = PayloadOf(ToRaw(wanted.value, about.point.scale), wanted.quality, about.isBoolean,
                                     about.point.isJson, SecondsSince1970());
  int id = 0;
  return PublishText(about.point.topic, text, false, &id);
}

// With an acknowledgement, so that a broker that takes nothing in is noticed.
bool CMqttLink::PublishText(const std::string& topic, const std::string& text, bool isRetained, int* id) {
  const int failure =
      mosquitto_publish(client.get(), id, topic.c_str(), static_cast<int>(text.size()), text.data(), 1, isRetained);
  if (failure == MOSQ_ERR_SUCCESS) unanswered[*id] = live::Now();
  return failure == MOSQ_ERR_SUCCESS;
}

bool CMqttLink::TrySafe(std::string* error) {
  if (client == nullptr && !Connect(error)) return false;
  const double until = live::Now() + 2.0 * connection.timeout;
  while (client != nullptr && !isConnected && live::Now() < until) Work(until);
  for (std::size_t i = 0; isConnected && i < connection.outputs.size(); ++i) {
    if (connection.outputs[i].safe) PublishValue(i, {*connection.outputs[i].safe});
  }
  while (isConnected && !unanswered.empty() && live::Now() < until) Work(until);
  if (isConnected && unanswered.empty()) return true;
  *error = "the broker doesn't answer";
  return false;
}

void CMqttLink::Leave() {
  if (!isConnected) return;
  const double until = live::Now() + connection.timeout;
  int id = 0;
  if (!control.IsDry()) PublishText(StateTopic(), "offline", true, &id);
  while (isConnected && !unanswered.empty() && live::Now() < until) Work(until);
  if (!isConnected) return;
  mosquitto_disconnect(client.get());
  client.reset();
}

}  // namespace plant
