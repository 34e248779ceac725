#include "workbench/pictures/run_plot.h"

#include "painting/painting.h"

namespace workbench {

bool CRunPlot::Begin(std::string* error) {
  for (const TRegulator& regulator : observation.Regulators()) {
    const runtime::CInstrumentHandle& instrument = regulator.instrument;
    const std::string title = instrument.Title().empty() ? "" : instrument.Title() + " – ";
    const std::size_t upper =
        plot.AddPanel(title + instrument.Name() + " (" + instrument.ClassName() + ")", instrument.QuantityUnit(), 2.4);
    plot.AddCurve(upper, "wish", painting::kPlotOrange, true);
    plot.AddCurve(upper, "value", painting::kPlotBlue, false);
    const std::size_t lower = plot.AddPanel("", instrument.OutputUnit(), 1);
    plot.AddCurve(lower, "output", painting::kPlotGreen, true);
  }
  if (plot.Empty()) {
    *error = "--plot: the application has no regulator to plot";
    return false;
  }
  // A long run shouldn't end before it is seen that it can't be drawn.
  std::string bytes;
  if (plot.Picture(painting::EFormat::kSvg, &bytes, error)) return true;
  *error = "--plot: " + *error;
  return false;
}

void CRunPlot::Observe() {
  values.clear();
  for (const TObserved& row : observation.Rows()) values.insert(values.end(), {row.Wish(), row.Value(), row.Output()});
  plot.Feed(observation.Time(), values);
}

bool CRunPlot::Write(const std::string& fileName, std::string* error) const {
  std::string bytes;
  if (!plot.Picture(*painting::FormatOf(fileName), &bytes, error)) {
    *error = fileName + ": " + *error;
    return false;
  }
  return painting::WritePicture(fileName, bytes, error);
}

}  // namespace workbench
