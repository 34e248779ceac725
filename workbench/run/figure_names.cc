#include "workbench/run/figure_names.h"

namespace workbench {
namespace {

constexpr TFigureName kContinuousFigures[] = {
    {"final_error", &TFigures::finalError},     {"iae", &TFigures::absoluteError},
    {"ise", &TFigures::squaredError},           {"travel", &TFigures::travel},
    {"overshoot", &TFigures::overshoot},        {"overshoot_percent", &TFigures::overshootPercent},
    {"settling", &TFigures::settling},          {"limited_wish", &TFigures::wishLimited},
    {"limited_value", &TFigures::valueLimited}, {"saturated", &TFigures::saturated},
};

constexpr TFigureName kOtherFigures[] = {
    {"final_error", &TFigures::finalError},
    {"outside_band", &TFigures::outsideBand},
    {"outside_band_percent", &TFigures::outsideBandPercent},
    {"switchings", &TFigures::switchings},
    {"duty", &TFigures::duty},
    {"steps_plus", &TFigures::plusSteps},
    {"steps_minus", &TFigures::minusSteps},
    {"valve_travel", &TFigures::valveTravel},
};

}  // namespace

std::span<const TFigureName> FigureNames(ERegulatorKind kind) {
  return kind == ERegulatorKind::kContinuous ? std::span<const TFigureName>(kContinuousFigures) : kOtherFigures;
}

}  // namespace workbench
