// A unit of anybody's as the process of an application:
//
//   process
//     fmu = "tank.fmu";                        beside the application
//     inputs valve = power / 100, "p.in" = 2;  variables of the unit, and expressions
//     outputs level = level;                   variables of the unit, and data elements
//     patience = 10;                           seconds that a call may take
//   end_process;
//
// It runs in a process of its own, from period to period: the inputs are what the
// expressions yield at the end of one, the outputs what the unit gives for the next.
#ifndef LOOPBOX_FMU_PROCESS_H
#define LOOPBOX_FMU_PROCESS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace fmu {

struct TUnitProcess {
  struct TInput {
    std::string name;
    runtime::CBlockExpression value;
  };
  struct TOutput {
    std::string name;
    runtime::TItem item;
  };

  std::string name;  // as the text has it, without detours
  std::string path;
  std::uint32_t offset = 0;  // of it in the text
  std::vector<TInput> inputs;
  std::vector<TOutput> outputs;
  double patience = 10.0;  // seconds
};

// Hands itself over to CApplication::Read. Paths are relative to the folder.
class CProcessReader final : public runtime::CBlockReader {
 public:
  explicit CProcessReader(std::string theFolder) : folder(std::move(theFolder)) {}

  const char* Keyword() const override { return "process"; }
  void Read(runtime::CBlockText& text) override;
  const std::vector<TUnitProcess>& Processes() const { return processes; }

 private:
  std::string folder;
  std::vector<TUnitProcess> processes;
};

// Whether the unit stands in the application's folder or below, so that it can go along
// with the text. False with a message.
bool GoesAlong(const TUnitProcess& process, std::string* error);

// Null with a message when the unit can't be opened, or has no such variables. What was
// read outlives it.
std::unique_ptr<runtime::CDataLink> LinkOf(const TUnitProcess& process, std::string* error);

}  // namespace fmu

#endif
