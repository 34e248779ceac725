// The way to one or more Modbus devices: a TCP connection, or a serial line, which
// units share.
//
// libmodbus is the client. Its recovery from errors is never switched on: it may try
// for ever. An answer has to be whole within the time-out.
#ifndef LOOPBOX_PLANT_MODBUS_LINE_H
#define LOOPBOX_PLANT_MODBUS_LINE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "plant/connections.h"

struct _modbus;

namespace plant {

enum class EAnswer : std::uint8_t {
  kGood,
  kRefused,  // the device says that it can't: the connection goes on
  kMissed,   // none in time, or one that makes no sense: the connection is to be made anew
};

class CLine {
 public:
  // Of a TCP connection `host` is an address in numbers.
  explicit CLine(const TConnection& connection);
  ~CLine();
  CLine(const CLine&) = delete;
  CLine& operator=(const CLine&) = delete;

  // Connects anew. Takes the time-out at most.
  bool Connect(std::string* error);
  void Close();
  // Takes over a connected socket instead.
  void Adopt(int socket);

  // One request; its count is within what the protocol allows. What isn't good leaves
  // a message. Of coils and discrete inputs a word is one bit.
  EAnswer Read(int unit, ETable table, int address, int count, std::uint16_t* words, std::string* error);
  EAnswer Write(int unit, ETable table, int address, const std::vector<std::uint16_t>& words, std::string* error);

 private:
  EAnswer Ended(int result, int count, std::string* error);

  std::mutex mutex;  // a request at a time, of whichever unit
  std::string where;
  double timeout;
  bool isSerial;
  bool isOpen = false;
  std::unique_ptr<_modbus, void (*)(_modbus*)> client;
};

// Lines of one process: what shares a serial device shares a line.
class CLines {
 public:
  std::shared_ptr<CLine> Of(const TConnection& connection);

 private:
  std::vector<std::pair<std::string, std::shared_ptr<CLine>>> serial;  // by device
};

}  // namespace plant

#endif
