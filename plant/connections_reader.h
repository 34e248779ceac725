// Reads the `connections` blocks of an application's text: docs/plant.md describes
// them.
#ifndef LOOPBOX_PLANT_CONNECTIONS_READER_H
#define LOOPBOX_PLANT_CONNECTIONS_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "plant/connections.h"
#include "runtime/block.h"

namespace plant {

class CConnectionsReader final : public runtime::CBlockReader {
 public:
  const char* Keyword() const override { return "connections"; }
  bool SteersOutputs() const override { return true; }
  void Read(runtime::CBlockText& text) override;
  // What several entries say together: inputs that outputs need, and what is written
  // twice.
  void Close(runtime::CBlockText& text) override;

  // In the order of the text; empty where it has none.
  const TConnections& Connections() const { return connections; }

  // An input that an output needs, by its name at a place.
  struct TNeed {
    std::string name;
    std::uint32_t offset;
  };

 private:
  TConnections connections;
  std::vector<TNeed> needs;
};

}  // namespace plant

#endif
