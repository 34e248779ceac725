// Running a part of the program in a process of its own, within limits.
#ifndef LOOPBOX_VALIDATION_CHILD_H
#define LOOPBOX_VALIDATION_CHILD_H

#include <functional>
#include <string>

#include "validation/probe.h"

namespace validation {

struct TEnd {
  EOutcome outcome = EOutcome::kCrashed;
  std::string message;
  std::string answer;  // what the work returned
  double seconds = 0.0;
};

// Runs `work` in a child with an empty folder, at most `patience` seconds and
// kMemoryLimit bytes of address space. What it returns is the answer; a TVerdict
// that it throws is the outcome. A signal or an early exit is a crash, whose
// message names what `work` noted last; a hang is a failure.
using TWork = std::function<std::string(const std::string& folder, char* note)>;
TEnd RunApart(double patience, const TWork& work);

}  // namespace validation

#endif
