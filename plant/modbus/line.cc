#include "plant/modbus/line.h"

#include <modbus/modbus.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <utility>

#include "plant/modbus/requests.h"

namespace plant {
namespace {

modbus_t* MakeClient(const TConnection& connection) {
  if (connection.serial) {
    const TSerial& serial = *connection.serial;
    return modbus_new_rtu(serial.device.c_str(), serial.baud, serial.parity, 8, serial.stopBits);
  }
  // The one takes addresses of IPv4 alone, the other asks the system for each.
  if (connection.host.find(':') == std::string::npos) return modbus_new_tcp(connection.host.c_str(), connection.port);
  return modbus_new_tcp_pi(connection.host.c_str(), std::to_string(connection.port).c_str());
}

std::string Seconds(double seconds) {
  std::string text = std::to_string(seconds);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text + " s";
}

}  // namespace

CLine::CLine(const TConnection& connection)
    : where(connection.serial ? connection.serial->device
                              : connection.host + ", port " + std::to_string(connection.port)),
      timeout(connection.timeout),
      isSerial(connection.serial.has_value()),
      client(MakeClient(connection), modbus_free) {
  if (client == nullptr) return;
  const auto whole = static_cast<std::uint32_t>(timeout);
  const auto micros = static_cast<std::uint32_t>((timeout - whole) * 1e6);
  modbus_set_response_timeout(client.get(), whole, whole == 0 ? std::max(micros, 1U) : micros);
  modbus_set_byte_timeout(client.get(), 0, 0);  // the other is for the whole answer
}

CLine::~CLine() { Close(); }

bool CLine::Connect(std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (client == nullptr) {
    *error = where + " can't be used";
    return false;
  }
  if (isOpen) modbus_close(client.get());
  isOpen = modbus_connect(client.get()) == 0;
  if (!isOpen) {
    *error = errno == ETIMEDOUT || errno == EINPROGRESS ? where + " doesn't answer within " + Seconds(timeout)
                                                        : where + ": " + modbus_strerror(errno);
  }
  return isOpen;
}

void CLine::Close() {
  const std::lock_guard<std::mutex> lock(mutex);
  if (isOpen) modbus_close(client.get());
  isOpen = false;
}

void CLine::Adopt(int socket) {
  modbus_set_socket(client.get(), socket);
  isOpen = true;
}

EAnswer CLine::Read(int unit, ETable table, int address, int count, std::uint16_t* words, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex);
  modbus_set_slave(client.get(), unit);
  // What came too late for an earlier request would pass for the answer to this one.
  if (isSerial) modbus_flush(client.get());
  if (!IsBits(table)) {
    const auto read = table == ETable::kInput ? modbus_read_input_registers : modbus_read_registers;
    return Ended(read(client.get(), address, count, words), count, error);
  }
  // The library writes as many as the device says.
  std::array<std::uint8_t, kMostBitsRead> bits{};
  const auto read = table == ETable::kCoil ? modbus_read_bits : modbus_read_input_bits;
  const EAnswer answer = Ended(read(client.get(), address, count, bits.data()), count, error);
  if (answer == EAnswer::kGood) std::copy_n(bits.begin(), count, words);
  return answer;
}

EAnswer CLine::Write(int unit, ETable table, int address, const std::vector<std::uint16_t>& words, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex);
  modbus_set_slave(client.get(), unit);
  if (isSerial) modbus_flush(client.get());
  const int count = static_cast<int>(words.size());
  // Some devices know the requests for one alone, and some those for many.
  if (table == ETable::kCoil) {
    std::vector<std::uint8_t> bits(words.begin(), words.end());
    return Ended(count == 1 ? modbus_write_bit(client.get(), address, bits[0])
                            : modbus_write_bits(client.get(), address, count, bits.data()),
                 count, error);
  }
  return Ended(count == 1 ? modbus_write_register(client.get(), address, words[0])
                          : modbus_write_registers(client.get(), address, count, words.data()),
               count, error);
}

EAnswer CLine::Ended(int result, int count, std::string* error) {
  if (result == count) return EAnswer::kGood;
  const int number = result < 0 ? errno : EMBBADDATA;
  modbus_flush(client.get());
  if (number > MODBUS_ENOBASE && number < MODBUS_ENOBASE + MODBUS_EXCEPTION_MAX) {
    *error = modbus_strerror(number);
    return EAnswer::kRefused;
  }
  *error = number == ETIMEDOUT ? "no answer within " + Seconds(timeout) : modbus_strerror(number);
  return EAnswer::kMissed;
}

std::shared_ptr<CLine> CLines::Of(const TConnection& connection) {
  if (!connection.serial) return std::make_shared<CLine>(connection);
  const std::string& device = connection.serial->device;
  const auto found = std::find_if(serial.begin(), serial.end(), [&](const auto& line) { return line.first == device; });
  if (found != serial.end()) return found->second;
  return serial.emplace_back(device, std::make_shared<CLine>(connection)).second;
}

}  // namespace plant
