#include "workbench/commands/run_process.h"

#include <filesystem>
#include <utility>

namespace workbench {

CRunProcess::CRunProcess(const std::string& file) : reader(std::filesystem::path(file).parent_path().string()) {}

bool CRunProcess::Check(const runtime::CApplication& application, std::vector<runtime::TDiagnostic>* diagnostics) {
  const std::size_t before = diagnostics->size();
  for (const fmu::TUnitProcess& process : reader.Processes()) {
    std::string error;
    if (auto unit = fmu::LinkOf(process, &error)) {
      units.push_back(std::move(unit));
      continue;
    }
    runtime::TDiagnostic diagnostic = application.At(process.offset, runtime::Translated(error));
    diagnostic.kind = runtime::TDiagnostic::kError;
    diagnostics->push_back(std::move(diagnostic));
  }
  return diagnostics->size() == before;
}

bool CRunProcess::Open(runtime::CApplication& application, std::string* error) {
  for (const auto& unit : units) {
    if (!application.AddLink(*unit, error)) return false;
  }
  return true;
}

}  // namespace workbench
