// The units that simulate a run's process, where its text names some.
#ifndef LOOPBOX_FMU_UNITS_H
#define LOOPBOX_FMU_UNITS_H

#include <memory>
#include <string>
#include <vector>

#include "fmu/process.h"
#include "runtime/runtime.h"

namespace fmu {

// Outlives the application.
class CUnits {
 public:
  // Of an application's folder.
  explicit CUnits(const std::string& folder) : reader(folder) {}

  void AddTo(runtime::TReadOptions* reading) { reading->blocks.push_back(&reader); }
  const std::vector<TUnitProcess>& Processes() const { return reader.Processes(); }
  // Errors at the places of units that can't be opened, or have no such variables. False
  // when there are some.
  bool Check(const runtime::CApplication& application, std::vector<runtime::TDiagnostic>* diagnostics);
  // Behind Check: starts the units. False with a message.
  bool Open(runtime::CApplication& application, std::string* error);

 private:
  CProcessReader reader;
  std::vector<std::unique_ptr<runtime::CDataLink>> units;
};

}  // namespace fmu

#endif
