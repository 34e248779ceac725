// Whole periods through the loaded plug-in.
#include <algorithm>
#include <iterator>
#include <memory>
#include <string>

#include "bench/applications.h"
#include "bench/rows.h"

namespace bench {

namespace {

constexpr double kManyTarget = 10.0;  // at 100,000 instruments

TBatch PeriodBatch(const TShape& shape) {
  auto running = std::make_shared<CBench>(Text(shape));
  running->Step(100);
  return {[running] { running->Step(); }, static_cast<double>(shape.count)};
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
