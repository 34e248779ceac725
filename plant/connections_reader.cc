#include "plant/connections_reader.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <tuple>
#include <utility>

#include "plant/modbus/packing.h"
#include "plant/point_reading.h"
#include "plant/words.h"
#include "runtime/block_entries.h"
#include "runtime/runtime.h"

namespace plant {
namespace {

using runtime::CBlockText;
using TNeed = CConnectionsReader::TNeed;
using TReads = runtime::TEntry<TReadConnection>;

constexpr int kMostGap = 124;    // registers; a request has at most 125
constexpr int kMostUnits = 247;  // on a serial line
constexpr int kNoUnit = 255;     // of a device that is alone at its address
constexpr int kModbusPort = 502;
constexpr int kMqttPort = 1883;
constexpr int kMqttTlsPort = 8883;
constexpr char kDry[] = "dry";

std::string ExpectPath(CBlockText& text) {
  const std::uint32_t place = text.Peek().offset;
  const std::filesystem::path name = text.ExpectText();
  if (name.empty()) text.Fail(place, "expected a file's name");
  return (std::filesystem::path(text.Application().At(place, "").path).parent_path() / name).string();
}

void ReadAddress(CBlockText& text, TConnection& connection) {
  const std::uint32_t place = text.Peek().offset;
  connection.host = text.ExpectText();
  if (connection.host.empty()) text.Fail(place, "expected the name or the number of a host");
  if (text.TakeIf(",")) connection.port = static_cast<int>(text.ExpectInteger(1, 65535));
}

void ReadSerial(CBlockText& text, TConnection& connection) {
  TSerial& serial = connection.serial.emplace();
  const std::uint32_t place = text.Peek().offset;
  serial.device = text.ExpectText();
  if (serial.device.empty()) text.Fail(place, "expected a device, as \"/dev/ttyUSB0\"");
  if (!text.TakeIf(",")) return;
  serial.baud = static_cast<int>(text.ExpectInteger(300, 4'000'000));
  if (!text.TakeIf(",")) return;
  const std::string parity = text.ExpectOneOf({"none", "even", "odd"});
  serial.parity = parity == "none" ? 'N' : parity == "even" ? 'E' : 'O';
  serial.stopBits = parity == "none" ? 2 : 1;  // a character has eleven bits
  if (text.TakeIf(",")) serial.stopBits = static_cast<int>(text.ExpectInteger(1, 2));
}

constexpr TReads kRetry = {"retry", [](CBlockText& text, TReadConnection& read) {
                             read.connection.firstRetry = ExpectAbove(text, 0.0, kSeconds);
                             text.Expect(",");
                             const std::uint32_t place = text.Peek().offset;
                             read.connection.longestRetry = text.ExpectNumber();
                             if (read.connection.longestRetry < read.connection.firstRetry) {
                               text.Fail(place, "expected a number of seconds no less than the one before");
                             }
                           }};
constexpr TReads kInput = {"input", ReadInput, runtime::EEntryForm::kBlock};
constexpr TReads kOutput = {"output", ReadOutput, runtime::EEntryForm::kBlock};

constexpr TReads kModbus[] = {
    {"tcp", [](CBlockText& text, TReadConnection& read) { ReadAddress(text, read.connection); }},
    {"serial", [](CBlockText& text, TReadConnection& read) { ReadSerial(text, read.connection); }},
    {"unit", [](CBlockText& text,
                TReadConnection& read) { read.connection.unit = static_cast<int>(text.ExpectInteger(0, kNoUnit)); }},
    {"every",
     [](CBlockText& text, TReadConnection& read) { read.connection.every = ExpectAbove(text, 0.0, kSeconds); }},
    {"timeout",
     [](CBlockText& text, TReadConnection& read) { read.connection.timeout = ExpectAbove(text, 0.0, kSeconds); }},
    kRetry,
    {"gap", [](CBlockText& text,
               TReadConnection& read) { read.connection.gap = static_cast<int>(text.ExpectInteger(0, kMostGap)); }},
    {"beat", [](CBlockText& text,
                TReadConnection& read) { ExpectPlace(text, {ETable::kHolding}, &read.connection.beat.emplace()); }},
    {"watchdog",
     [](CBlockText& text, TReadConnection& read) {
       auto& [registers, value] = read.connection.watchdog.emplace();
       ExpectPlace(text, {ETable::kHolding}, &registers);
       text.Expect(",");
       value = static_cast<std::uint16_t>(text.ExpectInteger(0, UINT16_MAX));
     }},
    kInput,
    kOutput,
};
constexpr TReads kMqtt[] = {
    {"host", [](CBlockText& text, TReadConnection& read) { ReadAddress(text, read.connection); }},
    {"name",
     [](CBlockText& text, TReadConnection& read) {
       const std::uint32_t place = text.Peek().offset;
       std::string& name = read.connection.clientName = text.ExpectText();
       if (name.empty() || name.find_first_of("+#") != std::string::npos) {
         text.Fail(place, "expected a name without + and #");
       }
     }},
    {"secret", [](CBlockText& text, TReadConnection& read) { read.connection.secretFile = ExpectPath(text); }},
    {"tls", [](CBlockText& text, TReadConnection& read) { read.connection.tlsFile = ExpectPath(text); }},
    kRetry,
    kInput,
    kOutput,
};

void CheckName(const CBlockText& text, const TConnection& connection, const TConnections& before) {
  const std::string& name = connection.name;
  if (name == kDry) text.Fail(connection.offset, "no connection is named dry: --plant dry is a way to run");
  for (const TConnection& other : before) {
    if (other.name != name) continue;
    text.Fail(connection.offset, "a second connection '" + name + "': the first is in " +
                                     Where(text.Application(), other.offset, connection.offset));
  }
  for (std::size_t i = 0; i < text.Application().ElementCount(); ++i) {
    if (text.Application().Element(i).name != name) continue;
    text.Fail(connection.offset, "'" + name + "' names a data element and a connection");
  }
}

TConnection ReadConnection(CBlockText& text, const TConnections& before, std::vector<TNeed>* needs) {
  const bool isModbus = text.ExpectOneOf({"modbus", "mqtt"}) == "modbus";
  TReadConnection read{{}, &before, needs};
  TConnection& connection = read.connection;
  connection.kind = isModbus ? TConnection::kModbus : TConnection::kMqtt;
  connection.offset = text.Peek().offset;
  connection.clientName = connection.name = text.ExpectName("the connection's name");
  CheckName(text, connection, before);
  const runtime::TPlaces places =
      isModbus ? ReadEntries(text, kModbus, "end_modbus", read) : ReadEntries(text, kMqtt, "end_mqtt", read);
  if (!isModbus) {
    Require(text, places, "host", " = \"HOST\"");
    if (connection.port == 0) connection.port = connection.tlsFile.empty() ? kMqttPort : kMqttTlsPort;
  } else if (places.contains("serial")) {
    if (places.contains("tcp")) text.Fail(places.find("tcp")->second, "a connection has tcp or serial, not both");
    if (connection.unit < 1 || connection.unit > kMostUnits) {
      text.Fail(places.find("unit")->second, "on a serial line units are 1 to 247");
    }
  } else {
    Require(text, places, "tcp", " = \"HOST\", or serial = \"DEVICE\",");
    if (connection.port == 0) connection.port = kModbusPort;
    if (connection.unit > kMostUnits && connection.unit != kNoUnit) {
      text.Fail(places.find("unit")->second, "units are 0 to 247, or 255 of a device that is alone");
    }
  }
  return std::move(read.connection);
}

// --- What is written twice ------------------------------------------------------------

struct TWritten {
  std::string device;  // with the topic, where it has topics
  ETable table = ETable::kHolding;
  int first = 0;  // address
  int last = 0;
  std::string what;
  std::uint32_t offset = 0;

  auto Key() const { return std::tie(device, table, first); }
};

std::vector<TWritten> WrittenBy(const TConnection& connection) {
  std::vector<TWritten> written;
  const std::string device = AddressOf(connection);
  const auto add = [&](const TRegisters& registers, const std::string& what, std::uint32_t offset) {
    written.push_back(
        {device, registers.table, registers.address, registers.address + WordsOf(registers.type) - 1, what, offset});
  };
  for (const TOutput& output : connection.outputs) {
    if (connection.kind == TConnection::kMqtt) {
      written.push_back({device + " " + output.point.topic, {}, 0, 0, "'" + output.name + "'", output.offset});
    } else {
      add(output.point.registers, "'" + output.name + "'", output.offset);
    }
  }
  if (connection.beat) add(*connection.beat, "the beat of " + connection.name, connection.offset);
  if (connection.watchdog) {
    add(connection.watchdog->first, "the watchdog of " + connection.name, connection.offset);
  }
  return written;
}

// Those of a line speak alike.
void CheckLines(const CBlockText& text, const TConnections& connections) {
  std::map<std::string, const TConnection*> lines;  // by device
  for (const TConnection& connection : connections) {
    if (!connection.serial) continue;
    const TConnection& first = *lines.emplace(connection.serial->device, &connection).first->second;
    if (*first.serial == *connection.serial) continue;
    text.Fail(connection.offset, connection.name + " speaks otherwise than " + first.name + " in " +
                                     Where(text.Application(), first.offset, connection.offset) + " on " +
                                     connection.serial->device);
  }
}

void CheckWritten(const CBlockText& text, const TConnections& connections) {
  std::vector<TWritten> all;
  for (const TConnection& connection : connections) {
    for (TWritten& one : WrittenBy(connection)) all.push_back(std::move(one));
  }
  std::sort(all.begin(), all.end(), [](const TWritten& a, const TWritten& b) { return a.Key() < b.Key(); });
  for (std::size_t i = 1; i < all.size(); ++i) {
    const TWritten& one = all[i - 1];
    const TWritten& next = all[i];
    if (one.device != next.device || one.table != next.table || next.first > one.last) continue;
    const TWritten& later = one.offset > next.offset ? one : next;
    const TWritten& earlier = one.offset > next.offset ? next : one;
    text.Fail(later.offset, later.what + " is written where " + earlier.what + " in " +
                                Where(text.Application(), earlier.offset, later.offset) + " is");
  }
}

}  // namespace

void CConnectionsReader::Read(CBlockText& text) {
  while (!text.IsAtEnd()) {
    connections.push_back(ReadConnection(text, connections, &needs));
    text.Expect(";");
  }
}

void CConnectionsReader::Close(CBlockText& text) {
  std::vector<std::string> inputs;
  for (const TConnection& connection : connections) {
    for (const TInput& input : connection.inputs) inputs.push_back(input.name);
  }
  for (const TNeed& need : needs) {
    if (std::find(inputs.begin(), inputs.end(), need.name) != inputs.end()) continue;
    text.Fail(need.offset, "'" + need.name + "' is no input" + CBlockText::MeantBy(need.name, inputs));
  }
  CheckLines(text, connections);
  CheckWritten(text, connections);
}

}  // namespace plant
