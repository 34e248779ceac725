// Interruption by the user, and the wall clock.
#ifndef LOOPBOX_WORKBENCH_PACING_H
#define LOOPBOX_WORKBENCH_PACING_H

#include <cstdint>

namespace workbench {

// From here on SIGINT and SIGTERM ask for an end instead of causing one; the
// second of a kind ends the program. A reader of the output that went away
// becomes a write error.
void CatchInterruption();
bool InterruptionAsked();

// Waits on the monotonic clock for whole periods since it was made. A period
// that took too long delays none but the next ones that were due meanwhile.
class CPacer {
 public:
  explicit CPacer(double periodSeconds);
  // Until `count` periods have passed, or an interruption is asked for.
  void WaitFor(std::uint64_t count) const;

 private:
  double period;       // seconds
  std::int64_t start;  // nanoseconds
};

}  // namespace workbench

#endif
