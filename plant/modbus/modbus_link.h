// A Modbus device: polled for its inputs, written what has changed.
#ifndef LOOPBOX_PLANT_MODBUS_MODBUS_LINK_H
#define LOOPBOX_PLANT_MODBUS_MODBUS_LINK_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plant/link.h"
#include "plant/modbus/line.h"
#include "plant/modbus/packing.h"
#include "plant/modbus/requests.h"

namespace plant {

class CModbusLink final : public CLink {
 public:
  CModbusLink(const TConnection& connection, CShare& share, const CControl& control, std::shared_ptr<CLine> line);

  void Drive() override;

 protected:
  bool TrySafe(std::string* error) override;

 private:
  void Connect();
  bool Poll();              // false when it wasn't whole
  void ReadBack();          // what the outputs hold before anything is written
  void SetWatchdog();       // the device's own
  void CountBeat();         // for a controller behind the device
  bool WriteWhatChanged();  // of what the loop wants; false when the connection was lost over it
  // A device whose answers are all too late does what was asked: each of the requests
  // comes first once, lest it be never sent.
  std::vector<TRequest> WritesInTurn(const std::vector<TRegisters>& places) const;
  EAnswer WriteWords(const TRegisters& first, const std::vector<std::uint16_t>& words, std::string* error);
  EAnswer ReadPoint(const TRegisters& point, TWords* words, std::string* error);

  TWords WordsFor(const TOutput& output, double value);
  void Lose(const std::string& error);

  // Of an output, since the connection was made.
  struct TWritten {
    std::optional<double> value;
    TWords words{};
    bool wasRefused = false;  // it is tried again with the next poll
  };

  std::shared_ptr<CLine> line;
  std::vector<TRequest> polls;    // of the inputs
  std::vector<TWritten> written;  // by output
  bool isConnected = false;
  bool wasConnected = false;  // at some time
  bool isReady = false;
  double nextPoll = 0.0;
  std::uint16_t beat = 0;
  std::size_t turn = 0;  // writes without an answer so far
};

}  // namespace plant

#endif
