// The links to a plant, kept by a process of their own.
//
// The loop's process shares one block of memory with it. Neither ever waits for the
// other: what is newest is taken, what is older is forgotten. A keeper, a process
// that holds no connection, makes the links' process and makes it a second time, to
// bring the outputs to their safe values, if it dies.
#ifndef LOOPBOX_PLANT_LINKS_H
#define LOOPBOX_PLANT_LINKS_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plant/connections.h"
#include "plant/quality.h"

namespace plant {

// The newest of an input, as its link has it.
struct TReading {
  double value = 0.0;                  // the last good one
  double time = 0.0;                   // of it: seconds of CLOCK_MONOTONIC; 0: there was none yet
  EQuality quality = EQuality::kLost;  // of the newest answer: never kStale, which is a matter of age
};

// What is to be written to an output.
struct TWanted {
  double value = std::numeric_limits<double>::quiet_NaN();  // NaN: nothing
  EQuality quality = EQuality::kGood;                       // of an element that is an input, too
};

// What a link has done so far.
struct TLinkCounts {
  std::uint64_t polls = 0;   // of MQTT: messages that brought a value
  std::uint64_t missed = 0;  // not done in time, or without an answer; of MQTT: messages without a value
  std::uint64_t reconnections = 0;
  std::uint64_t limited = 0;     // raw values out of their type's range
  double roundTripMedian = 0.0;  // of a request and its answer, seconds
  double roundTripWorst = 0.0;
};

class CLinks {
 public:
  // Makes the keeper and the links' process: before any thread and any priority.
  // With `dry` nothing is ever written. Null with a message.
  static std::unique_ptr<CLinks> Start(const TConnections& connections, double period, bool dry, std::string* error);
  // Finish, unless that was done.
  ~CLinks();
  CLinks(const CLinks&) = delete;
  CLinks& operator=(const CLinks&) = delete;

  // The newest of every input, in the order of the connections and of their inputs;
  // all are lost once the links' process is gone.
  const std::vector<TReading>& Read();
  // Whether each connection has had one whole poll that was good; of MQTT, whether the
  // broker has taken its subscriptions.
  bool IsReady() const;
  bool IsReady(std::size_t connection) const;  // of one
  // What an output held in the plant before anything was written, in the order of
  // the connections and of their outputs; none where it can't be read back.
  std::optional<double> ReadBack(std::size_t output) const;
  // In each period: the loop lives. Before the first there is no deadline.
  void Beat();
  // What is to be written from now on, one an output. The loop wakes nobody: the links
  // look for it a twentieth of a period after it is due, at most 1 ms.
  void Write(const std::vector<TWanted>& values);
  // What happened since, a message each, to be reported once: "oven_io: no answer
  // within 0.3 s". False when there is none.
  bool TakeMessage(std::string* message);
  // False when the links' process has died, or has ended because the loop was late.
  bool IsAlive() const;
  TLinkCounts CountsOf(std::size_t connection) const;

  // Every output that has one is brought to its safe value, read back where that can
  // be, and the processes end; with `dry` they only end. Returns after that, or after a bound that the time-outs
  // give. False with a message where a safe value could not be written.
  bool Finish(std::string* error);

 private:
  struct TState;
  explicit CLinks(std::unique_ptr<TState> state);
  std::unique_ptr<TState> state;
};

}  // namespace plant

#endif
