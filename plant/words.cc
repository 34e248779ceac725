#include "plant/words.h"

#include <array>
#include <cstdio>

namespace plant {
namespace {

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text.append(text.empty() ? "" : ", ").append(name);
  return text;
}

template <typename TEnum>
std::size_t IndexOf(TEnum value) {
  return static_cast<std::size_t>(value);
}

std::string Named(const TConnection& connection, const TPoint& point) {
  if (connection.kind == TConnection::kMqtt) return NameOf(connection, point) + (point.isJson ? ", JSON" : "");
  const TRegisters& registers = point.registers;
  std::string text = NameOf(registers);
  if (registers.type == EType::kBit) return text;
  text.append(", ").append(kTypeWords[IndexOf(registers.type)]);
  if (registers.order != EOrder::kAbcd) text.append(" ").append(kOrderWords[IndexOf(registers.order)]);
  return text;
}

std::string Value(double value, bool isBoolean) { return !isBoolean ? Number(value) : value != 0.0 ? "true" : "false"; }

std::string Listed(const TConnection& connection, const TInput& input) {
  std::string text = "  " + input.name + " from " + Named(connection, input.point);
  if (input.range) text += "; good from " + Number(input.range->first) + " to " + Number(input.range->second);
  if (input.stale) return text + "; stale after " + Number(*input.stale) + " s";
  return text + (connection.kind == TConnection::kMqtt ? "; never stale" : "; stale after three polls");
}

std::string OnLoss(const TOutput& output) {
  const std::string without = " where " + Joined(output.needs) + (output.needs.size() == 1 ? " isn't" : " aren't") +
                              " good" + (output.latches ? ", and stays so" : "");
  switch (output.onLoss) {
    case EOnLoss::kKeep:
      return "; keeps its value" + without;
    case EOnLoss::kHold:
      return "; holds for " + Number(output.holdFor) + " s, then is " + Value(*output.safe, output.isBoolean) + without;
    case EOnLoss::kSafe:
      break;
  }
  return "; is " + Value(*output.safe, output.isBoolean) + without;
}

std::string Listed(const TConnection& connection, const TOutput& output) {
  std::string text = "  " + output.name + " to " + Named(connection, output.point);
  if (output.limit) text += "; limited to " + Number(output.limit->first) + " … " + Number(output.limit->second);
  if (output.rate) text += "; changes by " + Number(*output.rate) + " a second at most";
  if (!output.needs.empty()) text += OnLoss(output);
  if (output.safe) return text + "; safe is " + Value(*output.safe, output.isBoolean);
  return text + "; published only";
}

}  // namespace

std::string Number(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.6g", value);
  return text.data();
}

std::string NameOf(const runtime::CApplication& application, runtime::TItem item) {
  const runtime::TElement element = application.Element(item.element);
  return element.name + (element.length == 0 ? "" : "[" + std::to_string(item.item) + "]");
}

std::string NameOf(const TRegisters& registers) {
  return std::string(kTableWords[IndexOf(registers.table)]) + "[" + std::to_string(registers.address) + "]";
}

std::string NameOf(const TConnection& connection, const TPoint& point) {
  return connection.kind == TConnection::kModbus ? NameOf(point.registers) : "\"" + point.topic + "\"";
}

std::string AddressOf(const TConnection& connection) {
  std::string text = connection.serial ? connection.serial->device + " at " + std::to_string(connection.serial->baud)
                                       : connection.host + ":" + std::to_string(connection.port);
  if (connection.kind == TConnection::kModbus) text += ", unit " + std::to_string(connection.unit);
  return text;
}

std::vector<std::string> Listed(const TConnections& connections, double period) {
  std::vector<std::string> lines;
  for (const TConnection& connection : connections) {
    std::string text = connection.name + ": " + AddressOf(connection);
    if (connection.kind == TConnection::kModbus) {
      text += ", polled each " + Number(connection.every > 0.0 ? connection.every : period) + " s";
      if (connection.beat) text += "; counts in " + NameOf(*connection.beat);
      if (connection.watchdog) text += "; watchdog " + NameOf(connection.watchdog->first);
    } else {
      text += ", as " + connection.clientName + (connection.tlsFile.empty() ? ", without TLS" : ", by TLS");
    }
    lines.push_back(std::move(text));
    for (const TInput& input : connection.inputs) lines.push_back(Listed(connection, input));
    for (const TOutput& output : connection.outputs) lines.push_back(Listed(connection, output));
  }
  return lines;
}

}  // namespace plant
