#include "workbench/report/report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

#include "workbench/text.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

constexpr struct {
  const char* name;  // in the words of a mark
  runtime::EPane pane;
} kPanes[] = {{"output", runtime::kOutputPane}, {"wish", runtime::kWishPane}, {"value", runtime::kValuePane}};

bool Differs(double one, double other) { return one != other && !(std::isnan(one) && std::isnan(other)); }

}  // namespace

CReport::CReport(const runtime::CApplication& theApplication, const CObservation& theObservation, const TView& theView)
    : application(theApplication), observation(theObservation), view(theView) {
  const std::size_t count = std::min(observation.Regulators().size(), kMostRegulators);
  for (std::size_t i = 0; i < count; ++i) AddRegulator(observation.Regulators()[i]);
  AddQuantities();
}

void CReport::AddRegulator(const TRegulator& observed) {
  TReportRegulator regulator{plot.AddPanel("", observed.instrument.QuantityUnit(), 2.4), {}};
  plot.AddCurve(regulator.firstPanel, "wish", painting::kPlotOrange, true);
  plot.AddCurve(regulator.firstPanel, "value", painting::kPlotBlue, false);
  if (observed.HasBand()) {
    plot.AddCurve(regulator.firstPanel, "band from", painting::kPlotPurple, true);
    plot.AddCurve(regulator.firstPanel, "band to", painting::kPlotPurple, true);
  }
  const std::size_t lower = plot.AddPanel("", observed.instrument.OutputUnit(), 1);
  plot.AddCurve(lower, "output", painting::kPlotGreen, true);
  const std::size_t shade = plot.AddShade("in hand");
  for (const std::size_t panel : {regulator.firstPanel, lower}) plot.Shade(panel, shade);
  if (observed.reference != nullptr) {
    for (const runtime::TStateColumn& column : observed.reference->State()) {
      if (regulator.state.empty() || regulator.state.back().columns[0].procedure != column.procedure) {
        regulator.state.push_back({{}, plot.AddPanel("", "", 1), {}});
      }
      TReportState& state = regulator.state.back();
      plot.AddCurve(state.panel, column.name,
                    painting::kPlotColors[state.columns.size() % std::size(painting::kPlotColors)], true);
      state.columns.push_back(column);
    }
  }
  regulators.push_back(std::move(regulator));
}

// The first of all, and those that the view names.
void CReport::AddQuantities() {
  const std::size_t panel = plot.AddPanel("", "", 1);
  std::set<std::string> taken;
  const auto add = [&](const TQuantity& quantity) {
    if (!taken.insert(quantity.name).second) return;
    quantityCurves.push_back(plot.Curves().size());
    plot.AddCurve(panel, quantity.name, 0, quantity.holds);
    quantities.push_back(quantity);
  };
  for (const TQuantity& quantity : QuantitiesOf(observation, kMostQuantities, &furtherQuantities)) add(quantity);
  for (const auto& chosen : view.curves) {
    for (const TQuantity& quantity : chosen) add(quantity);
  }
}

bool CReport::Compare(const std::string& fileName, bool any, std::string* error) {
  return comparison.Open(fileName, application, observation, regulators.size(), any, error);
}

void CReport::Mark(double time, const std::string& instrument, const std::string& text) {
  if (marks.size() < kMostMarks) {
    marks.push_back({time, instrument, Shortened(text, kLongestMark)});
  } else {
    ++furtherMarks;
  }
}

void CReport::MarkAction(double time, const std::string& instrument, const std::string& text) {
  const std::size_t call = text.find('(');
  if (call != std::string::npos && !instrument.empty()) {
    std::string& before = calls[instrument + "." + text.substr(0, call)];
    if (before == text) return;
    before = text;
  }
  Mark(time, instrument, text);
}

void CReport::Observe() {
  values.clear();
  for (std::size_t i = 0; i < regulators.size(); ++i) {
    const TObserved& row = observation.Rows()[i];
    values.push_back(row.Wish());
    values.push_back(row.Value());
    if (observation.Regulators()[i].HasBand()) {
      values.push_back(row.Wish() - (row.band ? row.band->minus : kNone));
      values.push_back(row.Wish() + (row.band ? row.band->plus : kNone));
    }
    values.push_back(row.Output());
    values.push_back(row.inHand ? 1.0 : 0.0);
    ObserveState(row, &regulators[i]);
    ObserveAlarms(Instrument(i).Name(), row, &regulators[i]);
  }
  for (const TQuantity& quantity : quantities) values.push_back(quantity.Value(observation));
  plot.Feed(observation.Time(), values);
  if (comparison.IsOpen()) comparison.Observe();
}

void CReport::ObserveState(const TObserved& row, TReportRegulator* regulator) {
  const double* value = row.state.data();
  for (TReportState& state : regulator->state) {
    const std::size_t count = state.columns.size();
    if (state.first.empty()) state.first.assign(value, value + count);
    for (std::size_t i = 0; i < count; ++i) state.varies = state.varies || Differs(value[i], state.first[i]);
    value += count;
  }
  values.insert(values.end(), row.state.begin(), row.state.end());
}

void CReport::ObserveAlarms(const std::string& instrument, const TObserved& row, TReportRegulator* regulator) {
  for (std::size_t i = 0; i < std::size(kPanes); ++i) {
    const runtime::TPane& pane = row.panes[kPanes[i].pane];
    const bool now[2] = {pane.belowLimit, pane.aboveLimit};
    for (int side = 0; side < 2; ++side) {
      if (now[side] && !regulator->alarms[i][side]) {
        Mark(observation.Time(), instrument,
             runtime::Translated(std::string("alarm: ") + kPanes[i].name +
                                 (side == 0 ? " below its low limit, " : " above its high limit, ") +
                                 Significant(pane.value)));
      }
      regulator->alarms[i][side] = now[side];
    }
  }
}

bool CReport::Write(const std::string& fileName, const CRegulatorWatch& watch, const TProvenance& provenance,
                    bool complete, std::string* error) const {
  if (!comparison.Failure().empty()) {
    *error = comparison.Failure();
    return false;
  }
  return WriteWholeFile(fileName, ReportPage(*this, watch, provenance, complete), error);
}

}  // namespace workbench
