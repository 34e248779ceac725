// A loop with its simulated process, against the same arithmetic in plain C++.
#include <array>
#include <memory>
#include <string>

#include "bench/applications.h"
#include "bench/rows.h"
#include "pid/laws.h"

namespace bench {

namespace {

constexpr std::size_t kPeriods = 1000;

std::string LoopText(int substeps) {
  return "application loop\n  period = 0.1;\n  duration = 100000000;\nend_application;\n"
         "data\n  tank : real = 20;\n  power : real;\n  wish : real = 60;\nend_data;\n"
         "process\n  substeps = " +
         std::to_string(substeps) +
         ";\n  tank' = (power - tank) / 50;\nend_process;\n"
         "instrument pid_regulator control\n  wish_value = wish;\n  expression = tank;\n  output = power;\n"
         "  parameters\n    regulator_type = classical; param_1 = 2; param_2 = 30; param_3 = 1.5;\n  end_parameters;\n"
         "end_instrument;\n";
}

TBatch Simulated(int substeps) {
  auto running = std::make_shared<CBenchRun>(LoopText(substeps));
  return {[running] { running->Step(kPeriods); }, kPeriods};
}

// The classical Runge-Kutta method on the same plant, then the law, its clamp
// and its shifts.
TBatch Plain(int substeps) {
  struct TLoop {
    double tank = 20.0;
    double power = 0.0;
    loopbox::TPidState state;
  };
  auto loop = std::make_shared<TLoop>();
  loop->state.dt = 0.1;
  loop->state.r0 = 2.0;
  loop->state.tI = 30.0;
  loop->state.tD = 1.5;
  return {[loop, substeps] {
            const double h = 0.1 / substeps;
            const auto slope = [&loop](double tank) { return (loop->power - tank) / 50.0; };
            for (std::size_t k = 0; k < kPeriods; ++k) {
              for (int i = 0; i < substeps; ++i) {
                const double y = loop->tank;
                const double k1 = slope(y);
                const double k2 = slope(y + h / 2 * k1);
                const double k3 = slope(y + h / 2 * k2);
                const double k4 = slope(y + h * k3);
                loop->tank = y + h / 6 * (((k1 + 2 * k2) + 2 * k3) + k4);
              }
              loopbox::TPidState& s = loop->state;
              s.wish[0] = 60.0;
              s.value[0] = loop->tank;
              double output = loopbox::ClassicalLaw(s);
              if (output > 100.0) output = 100.0;
              if (output < 0.0) output = 0.0;
              s.output[0] = output;
              s.Shift(true);
              loop->power = output;
            }
            Keep(loop->tank);
          },
          kPeriods};
}

}  // namespace

void AddSimulationRows() {
  for (const int substeps : {1, 10}) {
    const std::string name = "simulation/" + std::to_string(substeps) + " substeps";
    AddRow({name, EMeasure::kRatio, substeps == 1 ? 15.0 : 0.0, [substeps] { return Simulated(substeps); }, {}, {}});
    AddRow({name + " against plain C++",
            EMeasure::kOther,
            0.0,
            [substeps] { return Simulated(substeps); },
            [substeps] { return Plain(substeps); },
            {}});
  }
}

}  // namespace bench
