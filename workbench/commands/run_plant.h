// What a run does about the plant that its text's connections name.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_PLANT_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_PLANT_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "plant/plant.h"
#include "runtime/runtime.h"
#include "workbench/commands/one_run.h"
#include "workbench/commands/run_options.h"
#include "workbench/run/record_head.h"

namespace workbench {

class CRunPlant {
 public:
  // Both outlive it.
  CRunPlant(const TRunOptions& theOptions, const TReplayed& theReplayed) : options(theOptions), replayed(theReplayed) {}

  // The reader of the connections, and where they stand.
  void AddTo(runtime::TReadOptions* reading);
  void AddWarnings(const runtime::CApplication& application, std::vector<runtime::TDiagnostic>* diagnostics) const;
  // What the command line says of the plant.
  bool ReadOptions(std::string* error);
  const std::vector<std::string>& Connected() const { return plantOptions.connected; }

  struct TTold {
    std::function<void(const runtime::TRunTimeMessage&)> report;  // what went wrong, translated as all here
    std::function<void(const runtime::TRunTimeMessage&)> note;
    std::function<void(const TRecordHead::TBegun&)> begun;  // outputs are written
  };
  // Where the text has connections.
  bool Open(runtime::CApplication& application, TTold told, std::string* error);
  // At the end of the run: the outputs are brought to their safe values.
  void Finish();
  const std::string& Failure() const { return failure; }  // of the end
  const plant::TConnections& Connections() const { return connections.Connections(); }
  // Null where the text has no connections.
  plant::CPlant* Plant() { return plant ? &*plant : nullptr; }
  bool IsDry() const { return plantOptions.isDry; }
  // For the summary; empty where nothing was connected.
  std::string LinksText() const;

 private:
  const TRunOptions& options;
  const TReplayed& replayed;
  plant::CConnectionsReader connections;
  plant::TPlantOptions plantOptions;
  std::optional<plant::CPlant> plant;  // where the text has connections
  std::string failure;
};

}  // namespace workbench

#endif
