#include "workbench/run/whole_figures.h"

#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

#include "workbench/run/figure_names.h"
#include "workbench/run/metrics.h"
#include "workbench/run/observation.h"

namespace workbench {
namespace {

class CWholeFigures final : public study::CMeasure {
 public:
  CWholeFigures(const runtime::CApplication& theApplication, const TReferences& references,
                const std::vector<study::TFigure>& asked)
      : application(theApplication),
        observation(application, references, {.band = AsksForBand(asked)}),
        watched(observation.Regulators().size()) {
    for (std::size_t i = 0; i < watched.size(); ++i) {
      const TRegulator& regulator = observation.Regulators()[i];
      if (regulator.kind == ERegulatorKind::kContinuous) watched[i].lastOutput = regulator.instrument.OutputElement();
    }
    for (const study::TFigure& figure : asked) figures.push_back(PlaceOf(figure));
  }

  void Observe() override {
    observation.Observe();
    for (std::size_t i = 0; i < watched.size(); ++i) {
      TSample sample = observation.Rows()[i].Sample(observation.Time());
      sample.outputBefore = watched[i].lastOutput;
      watched[i].metrics.Feed(sample, watched[i].wish.Follow(sample.wish, sample.value));
      watched[i].lastOutput = sample.output;
    }
  }

  double Figure(std::size_t place) const override {
    const auto& [regulator, figure] = figures[place];
    const ERegulatorKind kind = observation.Regulators()[regulator].kind;
    const TFigures all = watched[regulator].metrics.Figures(kind, application.Period());
    return (all.*figure).value_or(std::numeric_limits<double>::quiet_NaN());
  }

 private:
  struct TWatched {
    CWishFollower wish;
    CMetrics metrics;
    std::optional<double> lastOutput;
  };
  using TPlace = std::pair<std::size_t, std::optional<double> TFigures::*>;  // a regulator and its figure

  // Asking a regulator for its band costs calls in each period.
  static bool AsksForBand(const std::vector<study::TFigure>& asked) {
    for (const study::TFigure& figure : asked) {
      if (figure.figure.starts_with("outside_band")) return true;
    }
    return false;
  }

  TPlace PlaceOf(const study::TFigure& asked) const {
    const std::string& name = application.Instrument(asked.instrument).Name();
    TPlace place = {0, nullptr};
    while (observation.Regulators()[place.first].instrument.Name() != name) ++place.first;
    for (const TFigureName& named : FigureNames(observation.Regulators()[place.first].kind)) {
      if (asked.figure == named.name) place.second = named.figure;
    }
    return place;
  }

  const runtime::CApplication& application;
  CObservation observation;
  std::vector<TWatched> watched;  // by regulator
  std::vector<TPlace> figures;
};

}  // namespace

std::vector<std::string> NamesOfFigures(const runtime::CInstrumentHandle& instrument) {
  std::vector<std::string> names;
  if (instrument.PaneCount() == 0) return names;
  for (const TFigureName& named : FigureNames(KindOf(instrument))) names.emplace_back(named.name);
  return names;
}

std::unique_ptr<study::CMeasure> WholeFigures(const runtime::CApplication& application, const TReferences& references,
                                              const std::vector<study::TFigure>& asked) {
  return std::make_unique<CWholeFigures>(application, references, asked);
}

}  // namespace workbench
