#include "fmu/units.h"

#include <utility>

namespace fmu {

bool CUnits::Check(const runtime::CApplication& application, std::vector<runtime::TDiagnostic>* diagnostics) {
  const std::size_t before = diagnostics->size();
  for (const TUnitProcess& process : Processes()) {
    std::string error;
    if (auto unit = LinkOf(process, &error)) {
      units.push_back(std::move(unit));
      continue;
    }
    runtime::TDiagnostic diagnostic = application.At(process.offset, runtime::Translated(error));
    diagnostic.kind = runtime::TDiagnostic::kError;
    diagnostics->push_back(std::move(diagnostic));
  }
  return diagnostics->size() == before;
}

bool CUnits::Open(runtime::CApplication& application, std::string* error) {
  for (const auto& unit : units) {
    if (!application.AddLink(*unit, error)) return false;
  }
  return true;
}

}  // namespace fmu
