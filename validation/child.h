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

// Thrown when what waits for a child is to end.
struct TInterruption {};
using TInterrupted = std::function<bool()>;

// Runs `work` in a child with an empty folder, at most `patience` seconds and
// kMemoryLimit bytes of address space. What it returns is the answer; a TVerdict
// that it throws is the outcome. A signal or an early exit is a crash, whose
// message names what `work` noted last; a hang is a failure. Whatever processes
// it made end with it. `interrupted`, where there is one, is asked now and then.
using TWork = std::function<std::string(const std::string& folder, char* note)>;
TEnd RunApart(double patience, const TWork& work, const TInterrupted& interrupted = nullptr);

// What a child wrote, which a plug-in may have spoilt: an outcome, and an answer
// or a message. False when it is no whole answer.
bool ReadAnswer(const std::string& bytes, TEnd* end);

// Any bytes as UTF-8 in one line without control characters, cut where it is long.
std::string Printable(const std::string& bytes);

}  // namespace validation

#endif
