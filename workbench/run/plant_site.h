// A plant as a panel knows it.
#ifndef LOOPBOX_WORKBENCH_RUN_PLANT_SITE_H
#define LOOPBOX_WORKBENCH_RUN_PLANT_SITE_H

#include <cstddef>
#include <string>

#include "panel/site.h"
#include "plant/plant.h"
#include "runtime/runtime.h"

namespace workbench {

class CPlantSite final : public panel::CSite {
 public:
  // Open, and outlives it.
  explicit CPlantSite(plant::CPlant& thePlant) : plant(thePlant) {}

  std::size_t ConnectionCount() const override { return plant.Connections().size(); }
  std::string ConnectionName(std::size_t connection) const override { return plant.Connections()[connection].name; }
  bool IsLost(std::size_t connection) const override;

  std::size_t InputCount() const override { return plant.InputCount(); }
  std::string InputName(std::size_t input) const override { return plant.Input(input).input->name; }
  runtime::TItem InputItem(std::size_t input) const override { return plant.Input(input).input->item; }
  std::size_t InputConnection(std::size_t input) const override { return plant.Input(input).connection; }
  panel::EInput Input(std::size_t input) const override;
  double Age(std::size_t input) const override { return plant.Input(input).age; }

  std::size_t OutputCount() const override { return plant.OutputCount(); }
  std::string OutputName(std::size_t output) const override { return plant.Output(output).output->name; }
  runtime::TItem OutputItem(std::size_t output) const override { return plant.Output(output).output->item; }
  panel::EOutput Output(std::size_t output) const override;
  double Written(std::size_t output) const override { return plant.Output(output).written; }
  std::size_t HeldBy(std::size_t output) const override { return plant.Output(output).heldBy.value_or(InputCount()); }

  void Stop() override { plant.Stop(); }
  void Release() override { plant.Release(); }
  void Unlatch() override { plant.Unlatch(); }

 private:
  plant::CPlant& plant;
};

}  // namespace workbench

#endif
