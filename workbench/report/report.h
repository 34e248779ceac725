// The report of a run: one page of HTML that needs nothing else, with plots,
// metrics, events, panes and the application's text.
#ifndef LOOPBOX_WORKBENCH_REPORT_REPORT_H
#define LOOPBOX_WORKBENCH_REPORT_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "painting/plot.h"
#include "runtime/runtime.h"
#include "runtime/trace.h"
#include "workbench/pictures/view.h"
#include "workbench/report/comparison.h"
#include "workbench/run/observation.h"
#include "workbench/run/provenance.h"
#include "workbench/run/quantity.h"
#include "workbench/run/regulator_watch.h"

namespace workbench {

// Something that happened in the run, shown at its time. Without an instrument
// it concerns all.
struct TReportMark {
  double time;  // seconds
  std::string instrument;
  std::string text;
};

// What a regulator has learnt, as far as one procedure says it.
struct TReportState {
  std::vector<runtime::TStateColumn> columns;
  std::size_t panel;          // of the plot's panels
  std::vector<double> first;  // values in the first period
  bool varies = false;        // else it is left out
};

struct TReportRegulator {
  std::size_t firstPanel;  // of the plot's: wish and value; then the output; both shaded while in hand
  std::vector<TReportState> state;
  bool alarms[3][2] = {};  // by pane: below and above its limit
};

// Memory does not grow with the length of the run: what a pixel can't show is
// kept as its lowest and highest, and the first kMostMarks events. Nor does it
// with the application beyond what the page shows.
class CReport {
 public:
  static constexpr std::size_t kMostMarks = 500;
  static constexpr std::size_t kLongestMark = 1000;     // bytes
  static constexpr std::size_t kMostRegulators = 500;   // those in the page
  static constexpr std::size_t kMostQuantities = 2000;  // that the page offers for curves
  static constexpr std::size_t kMostPanes = 500;        // instruments whose panes are drawn
  static constexpr std::size_t kMostLines = 50'000;     // of the application's text
  static constexpr std::size_t kMostText = 4'000'000;   // bytes of it

  // All outlive the report. The observation reads bands, state and hands.
  CReport(const runtime::CApplication& application, const CObservation& observation, const TView& view);
  // Reads an earlier trace; `any`: also of another application.
  bool Compare(const std::string& fileName, bool any, std::string* error);

  void Mark(double time, const std::string& instrument, const std::string& text);
  // What a script did: "zone[1] = 3", "SetParameters(3, 60, 8)". A call with the
  // arguments of that procedure's call before changes nothing, and makes no mark.
  void MarkAction(double time, const std::string& instrument, const std::string& text);
  // After each period, once it is observed.
  void Observe();
  // False with a message that names the file. `complete`: the run came to its
  // end.
  bool Write(const std::string& fileName, const CRegulatorWatch& watch, const TProvenance& provenance, bool complete,
             std::string* error) const;

  const runtime::CApplication& Application() const { return application; }
  const painting::CPlot& Plot() const { return plot; }
  // In the observation's order, the first of them.
  const std::vector<TReportRegulator>& Regulators() const { return regulators; }
  const runtime::CInstrumentHandle& Instrument(std::size_t regulator) const {
    return observation.Regulators()[regulator].instrument;
  }
  const std::vector<TReportMark>& Marks() const { return marks; }
  std::uint64_t FurtherMarks() const { return furtherMarks; }
  const TView& View() const { return view; }
  // What a person may draw curves of, each with its curve in the plot.
  const std::vector<TQuantity>& Quantities() const { return quantities; }
  std::size_t CurveOf(std::size_t quantity) const { return quantityCurves[quantity]; }
  std::uint64_t FurtherQuantities() const { return furtherQuantities; }
  std::size_t FurtherRegulators() const { return observation.Regulators().size() - regulators.size(); }
  const CComparison& Comparison() const { return comparison; }

 private:
  void AddRegulator(const TRegulator& regulator);
  void AddQuantities();
  void ObserveState(const TObserved& row, TReportRegulator* regulator);
  void ObserveAlarms(const std::string& instrument, const TObserved& row, TReportRegulator* regulator);

  const runtime::CApplication& application;
  const CObservation& observation;
  const TView& view;
  painting::CPlot plot;
  std::vector<TReportRegulator> regulators;
  std::vector<TQuantity> quantities;
  std::vector<std::size_t> quantityCurves;  // of the plot
  std::uint64_t furtherQuantities = 0;
  std::map<std::string, std::string> calls;  // the last one by instrument and procedure
  std::vector<TReportMark> marks;
  std::uint64_t furtherMarks = 0;
  CComparison comparison;
  std::vector<double> values;  // of a period
};

// A panel of the plot as the page shows it.
struct TShownPanel {
  std::size_t panel;  // of the plot's
  std::size_t regulator;
  bool low;  // and without marks, from zero
};

// What the page's script draws, in the form that stands in the page.
std::string ReportData(const CReport& report, const std::vector<TShownPanel>& panels);
// The page; the watch has the observation's regulators in the same order.
std::string ReportPage(const CReport& report, const CRegulatorWatch& watch, const TProvenance& provenance,
                       bool complete);

}  // namespace workbench

#endif
