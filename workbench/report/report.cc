#include "workbench/report/report.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <set>
#include <system_error>
#include <utility>

#include "painting/painting.h"
#include "workbench/csv.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

constexpr struct {
  const char* name;  // in the words of a mark
  runtime::EPane pane;
} kPanes[] = {{"output", runtime::kOutputPane}, {"wish", runtime::kWishPane}, {"value", runtime::kValuePane}};

// The columns of a trace that a comparison reads, in the order of the plot's
// curves.
constexpr struct {
  const char* column;
  bool holds;
} kCompared[] = {{"wish_value", true}, {"value", false}, {"output", true}};

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

bool CReport::Compare(const std::string& fileName, std::string* error) {
  const auto reader = CCsvReader::Open(fileName, error);
  if (!reader) return false;
  const std::ptrdiff_t time = reader->Column("time");
  if (time < 0) {
    *error = reader->Complaint("expected a column \"time\", in seconds");
    return false;
  }
  comparison.name = std::filesystem::path(fileName).filename().string();
  std::vector<std::size_t> columns;
  std::vector<std::ptrdiff_t> bySummary;  // wish, value and output of each regulator
  for (std::size_t i = 0; i < regulators.size(); ++i) {
    const std::size_t panel = comparison.plot.AddPanel("", "", 1);
    for (const auto& compared : kCompared) {
      const std::string name = Instrument(i).Name() + "." + compared.column;
      const std::ptrdiff_t column = reader->Column(name);
      bySummary.push_back(column);
      if (column < 0) continue;
      columns.push_back(static_cast<std::size_t>(column));
      comparison.curves.emplace(name, comparison.curves.size());
      comparison.plot.AddCurve(panel, name, 0, compared.holds);
    }
  }
  if (columns.empty() && regulators.size() == observation.Regulators().size()) {
    *error = reader->Complaint("no column is a pane of this application's regulators, as NAME.value");
    return false;
  }
  std::vector<double> row(reader->Header().size(), kNone);
  std::vector<double> sample(columns.size());
  const auto timeColumn = static_cast<std::size_t>(time);
  double now = -std::numeric_limits<double>::infinity();
  CCsvReader::EOutcome outcome = CCsvReader::kRow;
  for (std::uint64_t rows = 0; (outcome = reader->Next(error)) == CCsvReader::kRow; ++rows) {
    if (!reader->Later(timeColumn, &now, error)) return false;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!reader->Number(columns[i], &row[columns[i]], error)) return false;
      sample[i] = row[columns[i]];
    }
    comparison.plot.Feed(now, sample);
    comparison.summaries.resize(regulators.size());
    for (std::size_t i = 0; i < regulators.size(); ++i) {
      const std::ptrdiff_t* const of = &bySummary[3 * i];
      if (of[0] < 0 || of[1] < 0 || of[2] < 0) continue;
      // The first row of a trace stands one period behind the start.
      if (rows == 0) comparison.summaries[i].emplace(now);
      const auto at = [&](std::size_t which) { return row[static_cast<std::size_t>(of[which])]; };
      comparison.summaries[i]->Feed({now, at(0), at(1), at(2), std::nullopt});
    }
  }
  return outcome == CCsvReader::kEnd;
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
             std::string("alarm: ") + kPanes[i].name +
                 (side == 0 ? " below its low limit, " : " above its high limit, ") + Significant(pane.value));
      }
      regulator->alarms[i][side] = now[side];
    }
  }
}

bool CReport::Write(const std::string& fileName, const CRegulatorWatch& watch, bool complete,
                    std::string* error) const {
  return painting::WritePicture(fileName, ReportPage(*this, watch, complete), error);
}

}  // namespace workbench
