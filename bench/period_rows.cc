// Whole periods through the loaded plug-in.
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

void AddPeriods(const std::string& name, TShape shape, double target, double manyTarget) {
  for (const std::size_t count : {1, 64, 1000, 10000, 100000}) {
    shape.count = count;
    const double held = count == 64 || count == 1000 ? target : count == 100000 ? manyTarget : 0.0;
    AddRow({"period/" + name + "/" + std::to_string(count),
            EMeasure::kRatio,
            held,
            [shape] { return PeriodBatch(shape); },
            {},
            {}});
  }
}

}  // namespace

void AddPeriodRows() {
  const TShape pid;
  const auto changed = [](TShape shape, auto change) {
    change(shape);
    return shape;
  };
  AddPeriods("pid_regulator", pid, 4.0, kManyTarget);
  AddPeriods("boolean_regulator", changed(pid, [](TShape& s) { s.className = "boolean_regulator"; }), 3.0, kManyTarget);
  AddPeriods("step_regulator", changed(pid, [](TShape& s) { s.className = "step_regulator"; }), 3.0, kManyTarget);
  AddPeriods("sine", changed(pid, [](TShape& s) { s.sine = true; }), 0.0, 0.0);
  AddPeriods("script event", changed(pid, [](TShape& s) { s.event = true; }), 40.0, 0.0);
  AddPeriods("one history pane", changed(pid, [](TShape& s) { s.historyPanes = 1; }), 0.0, 0.0);
  AddPeriods("two history panes", changed(pid, [](TShape& s) { s.historyPanes = 2; }), 0.0, 0.0);
  AddPeriods("adaptive", changed(pid, [](TShape& s) { s.adaptive = true; }), 0.0, 0.0);
  AddPeriods("variable law",
             changed(pid,
                     [](TShape& s) {
                       s.law = "variable";
                       s.adaptive = true;
                     }),
             0.0, 0.0);
}

}  // namespace bench
