#include "workbench/pictures/run_plot.h"

#include "painting/painting.h"
#include "runtime/runtime.h"
#include "workbench/text.h"

namespace workbench {
namespace {

// Of the height of a picture.
constexpr double kUpperShare = 2.4;
constexpr double kLowerShare = 1;
constexpr double kChosenShare = 2;

}  // namespace

bool CRunPlot::Begin(std::string* error) {
  if (view.window) plot.SetWindow(view.window->from, view.window->to);
  if (view.curves.empty()) {
    AddRegulators();
  } else {
    AddCurves();
  }
  if (plot.Empty()) {
    *error = "--plot: the application has no regulator to plot; --curves chooses data elements";
    return false;
  }
  // A long run shouldn't end before it is seen that it can't be drawn.
  std::string bytes;
  if (plot.Picture(painting::EFormat::kSvg, &bytes, error)) return true;
  *error = "--plot: " + *error;
  return false;
}

void CRunPlot::AddRegulators() {
  for (const TRegulator& regulator : observation.Regulators()) {
    if (!plot.HasRoomFor({kUpperShare, kLowerShare})) break;
    const runtime::CInstrumentHandle& instrument = regulator.instrument;
    const std::string title = instrument.Title().empty() ? "" : instrument.Title() + " – ";
    const std::size_t upper = plot.AddPanel(title + instrument.Name() + " (" + instrument.ClassName() + ")",
                                            instrument.QuantityUnit(), kUpperShare);
    plot.AddCurve(upper, runtime::Translated("wish"), painting::kPlotOrange, true);
    plot.AddCurve(upper, runtime::Translated("value"), painting::kPlotBlue, false);
    const std::size_t lower = plot.AddPanelBelow(instrument.OutputUnit(), kLowerShare);
    plot.AddCurve(lower, runtime::Translated("output"), painting::kPlotGreen, true);
    const std::size_t shade = plot.AddShade(runtime::Translated("in hand"));
    for (const std::size_t panel : {upper, lower}) plot.Shade(panel, shade);
    ++drawn;
  }
  const std::size_t further = observation.Regulators().size() - drawn;
  if (further == 0) return;
  plot.SetFootnote(runtime::Translated("… " + Count(further, "more regulator") +
                                       ": --curves chooses what is drawn, --report shows all"));
}

void CRunPlot::AddCurves() {
  for (const std::vector<TQuantity>& curves : view.curves) {
    if (!plot.HasRoomFor({kChosenShare})) break;
    const std::string unit = CommonUnit(curves);
    const std::size_t panel = plot.AddPanel("", unit, kChosenShare);
    for (std::size_t i = 0; i < curves.size(); ++i) {
      const bool tells = unit.empty() && !curves[i].unit.empty();
      plot.AddCurve(panel, curves[i].name + (tells ? ", " + curves[i].unit : ""),
                    painting::kPlotColors[i % std::size(painting::kPlotColors)], curves[i].holds);
    }
    ++drawn;
  }
  const std::size_t further = view.curves.size() - drawn;
  if (further > 0) plot.SetFootnote(runtime::Translated("… " + Count(further, "more panel")));
}

void CRunPlot::Observe() {
  // A time that is a multiple of the period may differ from it by a rounding.
  const double forgiven = runtime::kForgivenRounding * observation.Application().Period();
  const double time = observation.Time();
  if (view.window && (time < view.window->from - forgiven || time > view.window->to + forgiven)) return;
  values.clear();
  for (std::size_t i = 0; i < drawn; ++i) {
    if (view.curves.empty()) {
      const TObserved& row = observation.Rows()[i];
      values.insert(values.end(), {row.Wish(), row.Value(), row.Output(), row.inHand ? 1.0 : 0.0});
    } else {
      for (const TQuantity& quantity : view.curves[i]) values.push_back(quantity.Value(observation));
    }
  }
  plot.Feed(time, values);
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
