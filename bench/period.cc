// Runs the periods of one kind of application and nothing else, to be counted
// and profiled.
//   loopbox_period KIND INSTRUMENTS PERIODS
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/applications.h"

namespace bench {

// What a profiler is told to look at, by this name.
__attribute__((noinline)) void CountedPeriods(CBenchRun& running, std::size_t periods);
void CountedPeriods(CBenchRun& running, std::size_t periods) { running.Step(periods); }

}  // namespace bench

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: loopbox_period KIND INSTRUMENTS PERIODS\n", stderr);
    return 2;
  }
  bench::TShape shape;
  if (!bench::FindShape(argv[1], &shape)) {
    std::fprintf(stderr, "no kind '%s'\n", argv[1]);
    return 2;
  }
  shape.count = std::strtoul(argv[2], nullptr, 10);
  bench::CBenchRun running(Text(shape));
  running.Step(100);
  bench::CountedPeriods(running, std::strtoul(argv[3], nullptr, 10));
  return 0;
}
