// Whole periods through the loaded plug-in.
#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/applications.h"
#include "bench/rows.h"

namespace bench {

namespace {

constexpr double kManyTarget = 10.0;  // at 100,000 instruments

TBatch PeriodBatch(const TShape& shape) {
  auto running = std::make_shared<CBenchRun>(Text(shape));
  running->Step(100);
  return {[running] { running->Step(); }, static_cast<double>(shape.count)};
}

// What memory alone takes of a period of so many instruments: of as many blocks
// of their size nine lines in a row are changed, asked for six blocks ahead.
TBatch LinesBatch(std::size_t count) {
  constexpr std::size_t kWords = 1064;  // of a block: no power of two, which would meet few cache sets
  constexpr std::size_t kLines = 9;
  constexpr std::size_t kLineWords = 8;
  constexpr std::size_t kAhead = 6;
  auto words = std::make_shared<std::vector<double>>(count * kWords, 1.0);
  return {[words, count] {
            double* const start = words->data();
            for (std::size_t i = 0; i + kAhead < count; ++i) {
              double* const block = start + i * kWords;
              for (std::size_t line = 0; line < kLines; ++line) {
                __builtin_prefetch(block + kAhead * kWords + line * kLineWords, 1);
              }
              for (std::size_t line = 0; line < kLines; ++line) block[line * kLineWords] += 1.0;
            }
          },
          static_cast<double>(count - kAhead)};
}

struct TTargets {
  const char* name;
  double some;  // at 64 and 1,000 instruments
  double many;  // at 100,000
};
constexpr TTargets kTargets[] = {
    {"pid_regulator", 4.0, kManyTarget},
    {"boolean_regulator", 3.0, kManyTarget},
    {"step_regulator", 3.0, kManyTarget},
    {"script event", 40.0, 0.0},
};

}  // namespace

void AddPeriodRows() {
  for (const std::size_t count : {64, 1000, 10000, 100000}) {
    AddRow({"nine lines changed/" + std::to_string(count),
            EMeasure::kRatio,
            0.0,
            [count] { return LinesBatch(count); },
            {},
            {}});
  }
  for (const auto& [name, kind] : Shapes()) {
    const auto targets = std::find_if(std::begin(kTargets), std::end(kTargets),
                                      [&name = name](const TTargets& row) { return name == row.name; });
    for (const std::size_t count : {1, 64, 100, 1000, 10000, 100000}) {
      double target = 0.0;
      if (targets != std::end(kTargets)) {
        target = count == 64 || count == 1000 ? targets->some : count == 100000 ? targets->many : 0.0;
      }
      TShape shape = kind;
      shape.count = count;
      AddRow({"period/" + name + "/" + std::to_string(count),
              EMeasure::kRatio,
              target,
              [shape] { return PeriodBatch(shape); },
              {},
              {}});
    }
  }
}

}  // namespace bench
