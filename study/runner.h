// Runs cases in child processes, so that a crash costs one case.
#ifndef LOOPBOX_STUDY_RUNNER_H
#define LOOPBOX_STUDY_RUNNER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "study/measure.h"
#include "study/plan.h"

namespace study {

// first, first + step, … up to `last`.
struct TCases {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t step = 1;

  std::uint64_t Count() const { return (last - first) / step + 1; }
};

struct TEffort {
  std::size_t jobs = 1;         // child processes at once
  std::optional<double> limit;  // seconds that a run may take; none: any
  bool readsAnew = false;       // each run reads the text
  std::function<bool()> interruptionAsked;
  std::function<void(std::uint64_t)> progress;  // cases done so far; also where there are no more
};

enum class ERunning : std::uint8_t { kDone, kInterrupted, kFailed };

// Takes what `next` yields until there is none, each in one child after another. `take`
// gets the rows of each, whole lines, once all of its cases are done, in any order; where
// it returns false, with a message, the running ends.
ERunning RunCases(const TSite& site, const TPlan& plan, const TEffort& effort,
                  const std::function<std::optional<TCases>()>& next,
                  const std::function<bool(const TCases& cases, const std::string& rows, std::string* error)>& take,
                  std::string* error);

}  // namespace study

#endif
