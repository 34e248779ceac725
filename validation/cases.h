// The cases by group. Each is one row: its name, whether it is asked of each
// class or once of the plug-in, its claim, and what does it.
#ifndef LOOPBOX_VALIDATION_CASES_H
#define LOOPBOX_VALIDATION_CASES_H

#include <span>

#include "validation/probe.h"

namespace validation {

enum class EScope { kPlugin, kClass };

struct TCase {
  const char* name;
  EScope scope;
  const char* claim;
  void (*run)(CProbe& probe);
};

std::span<const TCase> IdentityCases();
std::span<const TCase> LifetimeCases();
std::span<const TCase> DefinitionCases();
std::span<const TCase> ProcedureCases();
std::span<const TCase> PeriodCases();
std::span<const TCase> FileCases();
std::span<const TCase> ViewCases();

// All, in the order in which they run. The first only loads the plug-in.
std::vector<const TCase*> AllCases();

}  // namespace validation

#endif
