// The units that simulate a run's process, where its text names some.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_PROCESS_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_PROCESS_H

#include <memory>
#include <string>
#include <vector>

#include "fmu/process.h"
#include "runtime/runtime.h"

namespace workbench {

// Outlives the application.
class CRunProcess {
 public:
  // Of the application's file.
  explicit CRunProcess(const std::string& file);

  void AddTo(runtime::TReadOptions* reading) { reading->blocks.push_back(&reader); }
  // Errors at the places of units that can't be opened, or have no such variables. False
  // when there are some.
  bool Check(const runtime::CApplication& application, std::vector<runtime::TDiagnostic>* diagnostics);
  // Behind Check: starts the units.
  bool Open(runtime::CApplication& application, std::string* error);

 private:
  fmu::CProcessReader reader;
  std::vector<std::unique_ptr<runtime::CDataLink>> units;
};

}  // namespace workbench

#endif
