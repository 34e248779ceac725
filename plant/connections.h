// What an application's `connections` blocks say: the devices and brokers of a
// plant, and which data elements are read from them and written to them.
#ifndef LOOPBOX_PLANT_CONNECTIONS_H
#define LOOPBOX_PLANT_CONNECTIONS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"

namespace plant {

// The tables of a Modbus device; addresses count from 0 in each.
enum class ETable : std::uint8_t { kCoil, kDiscrete, kInput, kHolding };

// How a number lies in registers of 16 bits (coils and discrete inputs: kBit).
enum class EType : std::uint8_t { kBit, kInt16, kUint16, kInt32, kUint32, kInt64, kFloat, kDouble };

// The order of the bytes in two registers; in four it goes on likewise: words in
// order or reversed, the two bytes of each in order or swapped.
enum class EOrder : std::uint8_t { kAbcd, kCdab, kBadc, kDcba };

// A straight line: rawFrom is shown as `from`, rawTo as `to`; they differ.
struct TScale {
  double rawFrom = 0.0;
  double rawTo = 1.0;
  double from = 0.0;
  double to = 1.0;
};

struct TRegisters {
  ETable table = ETable::kHolding;
  std::uint16_t address = 0;
  EType type = EType::kUint16;
  EOrder order = EOrder::kAbcd;
};

// Where a value stands in the plant: of a Modbus connection `registers`, of an MQTT
// one `topic`.
struct TPoint {
  TRegisters registers;
  std::optional<TScale> scale;
  std::string topic;
  bool isJson = false;  // {"value": …, "time": …, "quality": …} is published, else the bare number
  double every = 0.0;   // seconds between two publications; 0: each change, once a period at most
};

struct TInput {
  std::string name;  // of the element, NAME or NAME[INDEX]
  runtime::TItem item;
  bool isBoolean = false;
  std::uint32_t offset = 0;  // in the application's text
  TPoint point;
  std::optional<std::pair<double, double>> range;  // of good values, both ends included
  std::optional<double> stale;                     // seconds after which it isn't good any more
};

// What is done when something that an output needs is bad.
enum class EOnLoss : std::uint8_t { kSafe, kHold, kKeep };

struct TOutput {
  std::string name;
  runtime::TItem item;
  bool isBoolean = false;
  std::uint32_t offset = 0;
  TPoint point;
  std::optional<std::pair<double, double>> limit;
  std::optional<double> rate;      // units a second
  std::vector<std::string> needs;  // names of inputs of any connection
  EOnLoss onLoss = EOnLoss::kSafe;
  double holdFor = 0.0;        // seconds, of kHold: then it is safe
  std::optional<double> safe;  // none: it is only published
  bool latches = false;        // stays safe until it is acknowledged
};

struct TSerial {
  std::string device;
  int baud = 19200;
  char parity = 'E';  // 'N', 'E', 'O'
  int stopBits = 1;

  bool operator==(const TSerial& other) const = default;
};

struct TConnection {
  enum EKind : std::uint8_t { kModbus, kMqtt };

  EKind kind = kModbus;
  std::string name;
  std::uint32_t offset = 0;
  std::string host;  // empty where `serial` is given
  int port = 0;
  std::optional<TSerial> serial;
  int unit = 1;             // Modbus, 0 to 247
  double every = 0.0;       // seconds between polls; 0: each period
  double timeout = 0.3;     // seconds, of one answer
  double firstRetry = 1.0;  // seconds before connecting again, doubling
  double longestRetry = 30.0;
  int gap = 0;                     // registers that may lie unused between two points of one request
  std::optional<TRegisters> beat;  // counts up while the loop lives
  std::optional<std::pair<TRegisters, std::uint16_t>> watchdog;  // written at the start, and read back
  std::string clientName;                                        // MQTT
  std::string secretFile;  // "user:password" in the first line; a path, empty: none
  std::string tlsFile;     // the certificates of who may sign the broker's; empty: no TLS
  std::vector<TInput> inputs;
  std::vector<TOutput> outputs;
};

// In the order of the text.
using TConnections = std::vector<TConnection>;

}  // namespace plant

#endif
