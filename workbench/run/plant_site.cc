#include "workbench/run/plant_site.h"

namespace workbench {

bool CPlantSite::IsLost(std::size_t connection) const {
  for (std::size_t i = 0; i < plant.InputCount(); ++i) {
    const plant::CPlant::TInputNow now = plant.Input(i);
    if (now.connection != connection) continue;
    if (now.quality == plant::EQuality::kLost || now.quality == plant::EQuality::kStale) return true;
  }
  return false;
}

panel::EInput CPlantSite::Input(std::size_t input) const {
  switch (plant.Input(input).quality) {
    case plant::EQuality::kGood:
      return panel::EInput::kGood;
    case plant::EQuality::kStale:
      return panel::EInput::kStale;
    case plant::EQuality::kLost:
      return panel::EInput::kLost;
    case plant::EQuality::kOutOfRange:
      return panel::EInput::kOutOfRange;
    case plant::EQuality::kNotFinite:
      return panel::EInput::kNotFinite;
  }
  return panel::EInput::kLost;
}

// Where nothing is written to a device, what holds it back comes first.
panel::EOutput CPlantSite::Output(std::size_t output) const {
  const plant::CPlant::TOutputNow now = plant.Output(output);
  switch (now.why) {
    case plant::EGuard::kOwn:
      return now.isDry ? panel::EOutput::kDry : panel::EOutput::kOwn;
    case plant::EGuard::kLimited:
      return now.isDry ? panel::EOutput::kDry : panel::EOutput::kLimited;
    case plant::EGuard::kHeld:
      return panel::EOutput::kHeld;
    case plant::EGuard::kSafe:
      return panel::EOutput::kSafe;
    case plant::EGuard::kLatched:
      return panel::EOutput::kLatched;
    case plant::EGuard::kStopped:
      return panel::EOutput::kStopped;
  }
  return panel::EOutput::kOwn;
}

}  // namespace workbench
