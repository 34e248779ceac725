// The laws, identification and synthesis, alone.
#include <array>
#include <cmath>
#include <memory>
#include <string>

#include "bench/baseline.h"
#include "bench/rows.h"
#include "pid/identification.h"
#include "pid/laws.h"
#include "pid/synthesis.h"

namespace bench {

namespace {

using loopbox::TIdentState;
using loopbox::TPidState;

constexpr std::size_t kRounds = 16;

struct TPlant {
  TPidState state;
  TIdentState ident;
};
using TPlants = std::array<TPlant, kStates>;

TPlants MakePlants() {
  TPlants plants;
  for (TPlant& plant : plants) {
    plant.state.dt = 0.5;
    plant.state.r0 = 1.5;
    plant.state.tI = 30.0;
    plant.state.tD = 2.0;
    plant.state.ksi = 0.8;
    plant.state.omega = 0.3;
    plant.state.a1 = -1.5;
    plant.state.a2 = 0.6;
    plant.state.b1 = 0.1;
    plant.state.b2 = 0.08;
    plant.state.ThetaFromModel();
  }
  return plants;
}

// The law with what surrounds it in a period: the clamp and the shifts.
template <auto law>
TBatch LawBatch() {
  auto plants = std::make_shared<TPlants>(MakePlants());
  return {[plants] {
            double sum = 0.0;
            for (std::size_t i = 0; i < kStates * kRounds; ++i) {
              TPidState& s = (*plants)[i % kStates].state;
              s.wish[0] = 50.0 + Varied(i);
              s.value[0] = 50.0 + Varied(i + 7);
              double output = law(s);
              if (!std::isfinite(output)) output = s.output[1];
              if (output > 100.0) output = 100.0;
              if (output < 0.0) output = 0.0;
              s.output[0] = output;
              s.Shift(true);
              sum += output;
            }
            Keep(sum);
          },
          kStates * kRounds};
}

// A step of identification or synthesis on changing data, without the shifts.
template <typename TStep>
TBatch StepBatch(TStep step) {
  auto plants = std::make_shared<TPlants>(MakePlants());
  return {[plants, step] {
            for (std::size_t i = 0; i < kStates * kRounds; ++i) {
              TPlant& plant = (*plants)[i % kStates];
              for (std::size_t k = 0; k < loopbox::kHistoryLength; ++k) {
                plant.state.value[k] = Varied(i + 3 * k);
                plant.state.output[k] = Varied(i + 5 * k);
              }
              step(plant);
            }
            Keep((*plants)[0].state.r0);
          },
          kStates * kRounds};
}

}  // namespace

void AddLawRows() {
  using enum EMeasure;
  AddRow({"R", kRatio, 0.0, [] { return TBatch{[] { Keep(RunBaseline()); }, kBaselineItems}; }, {}, {}});
  AddRow({"law/classical", kRatio, 1.5, LawBatch<loopbox::ClassicalLaw>, {}, {}});
  AddRow({"law/takahashi", kRatio, 1.5, LawBatch<loopbox::TakahashiLaw>, {}, {}});
  AddRow({"law/classicalDelay", kRatio, 1.5, LawBatch<loopbox::ClassicalDelayLaw>, {}, {}});
  AddRow({"law/takahashiDelay", kRatio, 1.5, LawBatch<loopbox::TakahashiDelayLaw>, {}, {}});
  AddRow({"law/variable", kRatio, 0.0, LawBatch<loopbox::VariableLaw>, {}, {}});
  AddRow({"step/IdentifyStep",
          kRatio,
          0.0,
          [] { return StepBatch([](TPlant& plant) { loopbox::IdentifyStep(plant.state, plant.ident); }); },
          {},
          {}});
  AddRow({"step/RefilStep",
          kRatio,
          0.0,
          [] { return StepBatch([](TPlant& plant) { loopbox::RefilStep(plant.state); }); },
          {},
          {}});
  AddRow({"step/ControllerSynthesis",
          kRatio,
          0.0,
          [] { return StepBatch([](TPlant& plant) { loopbox::ControllerSynthesis(plant.state); }); },
          {},
          {}});
}

}  // namespace bench
