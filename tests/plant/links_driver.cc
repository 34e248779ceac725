// A loop without an application: it reads a connection from its arguments, keeps its
// links, prints what they bring, and writes what it is told to.
//
//   links_driver PERIOD [dry|probe] { modbus NAME | mqtt NAME | KEY=VALUE | input … | output … }
//
// Keys are those of a connections block; `input NAME TABLE ADDRESS TYPE ORDER [KEY=VALUE]`.
// Commands come by standard input, a line each, answers by standard output:
//   read            a line NAME=VALUE:QUALITY for each input, in one line
//   write V V …     what is written from now on, one number an output; nan: nothing
//   back            what the outputs held before anything was written
//   counts          polls, missed, reconnections, limited, median and worst in ms
//   messages        those that came
//   ready, alive, finish
// Between them the loop beats each PERIOD.
#include <poll.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "plant/links.h"
#include "plant/probe.h"

namespace {

using plant::TConnection;

template <typename TEnumeration>
TEnumeration Named(const std::string& name, std::initializer_list<const char*> names) {
  int place = 0;
  for (const char* each : names) {
    if (name == each) return static_cast<TEnumeration>(place);
    ++place;
  }
  throw std::runtime_error("no such thing: " + name);
}

plant::TRegisters Registers(const std::string& table, const std::string& address, const std::string& type,
                            const std::string& order) {
  plant::TRegisters registers;
  registers.table = Named<plant::ETable>(table, {"coil", "discrete", "input", "holding"});
  registers.address = static_cast<std::uint16_t>(std::stoi(address));
  registers.type = Named<plant::EType>(type, {"bit", "int16", "uint16", "int32", "uint32", "int64", "float", "double"});
  registers.order = Named<plant::EOrder>(order, {"abcd", "cdab", "badc", "dcba"});
  return registers;
}

// NAME TABLE ADDRESS TYPE ORDER, or NAME TOPIC.
template <typename TElement>
void ReadPoint(TElement* element, TConnection::EKind kind, const std::vector<std::string>& words, std::size_t* at) {
  element->name = words.at((*at)++);
  if (kind == TConnection::kMqtt) {
    element->point.topic = words.at((*at)++);
    return;
  }
  element->point.registers = Registers(words.at(*at), words.at(*at + 1), words.at(*at + 2), words.at(*at + 3));
  element->isBoolean = element->point.registers.type == plant::EType::kBit;
  *at += 4;
}

std::vector<double> Numbers(const std::string& text) {
  std::vector<double> numbers;
  std::stringstream parts(text);
  for (std::string part; std::getline(parts, part, ',');) numbers.push_back(std::stod(part));
  return numbers;
}

void SetPointKey(plant::TPoint* point, const std::string& key, const std::string& value) {
  if (key == "scale") {
    const std::vector<double> line = Numbers(value);
    point->scale = plant::TScale{line.at(0), line.at(1), line.at(2), line.at(3)};
  } else if (key == "json") {
    point->isJson = true;
  } else if (key == "every") {
    point->every = std::stod(value);
  } else {
    throw std::runtime_error("no such key: " + key);
  }
}

void SetKey(TConnection* connection, const std::string& key, const std::string& value) {
  const auto number = [&value] { return std::stod(value); };
  if (key == "host")
    connection->host = value;
  else if (key == "port")
    connection->port = static_cast<int>(number());
  else if (key == "serial")
    connection->serial = plant::TSerial{value, 19200, 'N', 1};
  else if (key == "unit")
    connection->unit = static_cast<int>(number());
  else if (key == "every")
    connection->every = number();
  else if (key == "timeout")
    connection->timeout = number();
  else if (key == "first")
    connection->firstRetry = number();
  else if (key == "longest")
    connection->longestRetry = number();
  else if (key == "gap")
    connection->gap = static_cast<int>(number());
  else if (key == "beat")
    connection->beat = Registers("holding", value, "uint16", "abcd");
  else if (key == "watchdog")
    connection->watchdog = {Registers("holding", value, "uint16", "abcd"), 2};
  else if (key == "client")
    connection->clientName = value;
  else if (key == "secret")
    connection->secretFile = value;
  else if (key == "tls")
    connection->tlsFile = value;
  else
    throw std::runtime_error("no such key: " + key);
}

plant::TConnections ReadConnections(const std::vector<std::string>& words) {
  plant::TConnections connections;
  enum { kConnection, kInput, kOutput } last = kConnection;
  for (std::size_t at = 0; at < words.size();) {
    const std::string& word = words[at++];
    const std::size_t equals = word.find('=');
    if (word == "modbus" || word == "mqtt") {
      TConnection& made = connections.emplace_back();
      made.kind = word == "mqtt" ? TConnection::kMqtt : TConnection::kModbus;
      made.name = words.at(at++);
      made.host = "127.0.0.1";
      last = kConnection;
    } else if (word == "input") {
      ReadPoint(&connections.back().inputs.emplace_back(), connections.back().kind, words, &at);
      last = kInput;
    } else if (word == "output") {
      ReadPoint(&connections.back().outputs.emplace_back(), connections.back().kind, words, &at);
      last = kOutput;
    } else if (equals == std::string::npos) {
      throw std::runtime_error("no such word: " + word);
    } else {
      const std::string key = word.substr(0, equals);
      const std::string value = word.substr(equals + 1);
      TConnection& connection = connections.back();
      if (last == kConnection) {
        SetKey(&connection, key, value);
      } else if (last == kInput && key == "range") {
        const std::vector<double> ends = Numbers(value);
        connection.inputs.back().range = {ends.at(0), ends.at(1)};
      } else if (last == kOutput && key == "safe") {
        connection.outputs.back().safe = std::stod(value);
      } else {
        SetPointKey(last == kInput ? &connection.inputs.back().point : &connection.outputs.back().point, key, value);
      }
    }
  }
  for (TConnection& connection : connections) {
    if (connection.serial) connection.host.clear();
  }
  return connections;
}

void TellPoint(const plant::TProbed& probed) {
  std::cout << probed.name << " " << probed.place << " " << (probed.time > 0.0) << " [" << probed.error << "]";
  for (const std::uint16_t word : probed.words) std::printf(" %04x", word);
  for (const double value : probed.values) std::cout << " " << value;
  std::cout << " " << probed.text << (probed.isRetained ? " retained" : "") << "; ";
}

// False at the end.
bool Answer(const std::string& line, const plant::TConnections& connections, plant::CLinks& links) {
  std::istringstream words(line);
  std::string command;
  words >> command;
  if (command == "read") {
    const std::vector<plant::TReading>& readings = links.Read();
    std::size_t next = 0;
    for (const TConnection& connection : connections) {
      for (const plant::TInput& input : connection.inputs) {
        const plant::TReading& reading = readings[next++];
        std::printf("%s=%.17g:%d ", input.name.c_str(), reading.value, static_cast<int>(reading.quality));
      }
    }
  } else if (command == "write") {
    std::vector<plant::TWanted> values;
    for (std::string word; words >> word;) values.push_back({std::stod(word)});
    links.Write(values);
  } else if (command == "back") {
    std::size_t count = 0;
    for (const TConnection& connection : connections) count += connection.outputs.size();
    for (std::size_t i = 0; i < count; ++i) std::printf("%.17g ", links.ReadBack(i).value_or(std::nan("")));
  } else if (command == "counts") {
    for (std::size_t i = 0; i < connections.size(); ++i) {
      const plant::TLinkCounts counts = links.CountsOf(i);
      std::printf("%lu %lu %lu %lu %.3f %.3f ", counts.polls, counts.missed, counts.reconnections, counts.limited,
                  counts.roundTripMedian * 1e3, counts.roundTripWorst * 1e3);
    }
  } else if (command == "messages") {
    for (std::string message; links.TakeMessage(&message);) std::printf("%s | ", message.c_str());
  } else if (command == "ready") {
    std::printf("%d", links.IsReady());
  } else if (command == "alive") {
    std::printf("%d", links.IsAlive());
  } else if (command == "finish") {
    std::string error;
    const bool isDone = links.Finish(&error);
    std::printf("%d %s", isDone, error.c_str());
  }
  std::printf("\n");
  std::fflush(stdout);
  return command != "finish";
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<std::string> words(arguments + 1, arguments + count);
  try {
    const double period = std::stod(words.at(0));
    const std::string mode = words.at(1);
    const bool hasMode = mode == "dry" || mode == "probe";
    const plant::TConnections connections = ReadConnections({words.begin() + (hasMode ? 2 : 1), words.end()});
    std::string error;
    if (mode == "probe") {
      if (!plant::Probe(connections.at(0), TellPoint, &error)) std::cout << "failed: " << error;
      std::cout << "\n";
      return 0;
    }
    const std::unique_ptr<plant::CLinks> links = plant::CLinks::Start(connections, period, mode == "dry", &error);
    if (links == nullptr) throw std::runtime_error(error);
    std::string got;
    for (;;) {
      links->Beat();
      pollfd polled{0, POLLIN, 0};
      if (poll(&polled, 1, static_cast<int>(std::ceil(period * 1000.0))) == 0) continue;
      char bytes[4096];
      const ssize_t size = read(0, bytes, sizeof(bytes));
      if (size <= 0) return 0;
      got.append(bytes, static_cast<std::size_t>(size));
      for (std::size_t end = got.find('\n'); end != std::string::npos; end = got.find('\n')) {
        if (!Answer(got.substr(0, end), connections, *links)) return 0;
        got.erase(0, end + 1);
      }
    }
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << "\n";
    return 1;
  }
}
