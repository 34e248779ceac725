// An earlier run beside this one, from its trace; what the trace doesn't tell, from
// the summary beside it, NAME.json beside NAME.csv.
#ifndef LOOPBOX_WORKBENCH_REPORT_COMPARISON_H
#define LOOPBOX_WORKBENCH_REPORT_COMPARISON_H

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "json/json.h"
#include "painting/plot.h"
#include "runtime/runtime.h"
#include "workbench/csv.h"
#include "workbench/run/metrics.h"
#include "workbench/run/observation.h"
#include "workbench/run/provenance.h"
#include "workbench/run/regulator_watch.h"

namespace workbench {

// The summary that would stand beside a trace.
std::string SummaryBeside(const std::string& trace);

// Figures of both runs come from the rows of the same time.
class CComparison {
 public:
  // Reads the trace once, so that a bad row is found before the run. The first
  // `shown` regulators are compared. False with a message, also where the trace is
  // another application's, unless `any` asks for that too.
  bool Open(const std::string& fileName, const runtime::CApplication& application, const CObservation& observation,
            std::size_t shown, bool any, std::string* error);
  // After each period, once it is observed. The trace is read along.
  void Observe();
  // What went wrong meanwhile; empty: nothing.
  const std::string& Failure() const { return failure; }

  bool IsOpen() const { return observation != nullptr; }
  const std::string& Name() const { return name; }  // of the file, without its folder
  const painting::CPlot& Plot() const { return plot; }
  const std::map<std::string, std::size_t>& Curves() const { return curves; }  // by column

  struct TCommon {
    TFigures here;
    TFigures there;
    double rowSeconds;
  };
  // None where the trace has not all of its panes. What only a run itself knows, as
  // the band, is missing there.
  std::optional<TCommon> Common(std::size_t regulator) const;
  std::uint64_t CommonRows() const { return commonRows; }
  // How the two runs differ, in lines.
  std::vector<std::string> Differences(const CRegulatorWatch& watch, const TProvenance& provenance) const;

 private:
  // A pane of a regulator in the trace.
  struct TSource {
    std::size_t column = 0;
    // The element of which a wish or value consists: where the pane shows an end of
    // its range, that says what was cut.
    std::optional<std::size_t> element;
  };
  struct TSide {
    CWishFollower wish;
    CMetrics metrics;
    std::optional<double> lastOutput;

    void Feed(TSample sample);
  };
  struct TCompared {
    TSource wish, value, output;
    TSide here, there;
  };

  bool CheckColumns(const std::string& path, bool any, std::string* error) const;
  void Find(std::size_t regulator);
  std::optional<std::size_t> ElementOf(const runtime::CInstrumentHandle& instrument, const char* entry) const;
  bool ReadThrough(std::string* error);
  void ReadSummary(const std::string& path);
  CCsvReader::EOutcome Next(std::string* error);
  double Measured(const TSource& source, const runtime::TPane& pane) const;
  void Compare(std::size_t regulator);
  std::vector<std::string> Found(const CRegulatorWatch& watch, const TProvenance& provenance) const;
  static void AddSettings(const CRegulatorWatch::TSummary& here, const json::CValue& there,
                          std::vector<std::string>* lines);

  const runtime::CApplication* application = nullptr;
  const CObservation* observation = nullptr;
  std::string name;
  std::unique_ptr<CCsvReader> reader;
  std::size_t timeColumn = 0;
  painting::CPlot plot;
  std::map<std::string, std::size_t> curves;
  std::vector<std::size_t> plotted;                // columns, in the order of the curves
  std::vector<std::optional<TCompared>> compared;  // by regulator

  std::vector<double> row;                                    // by column, of those that are read
  double rowTime = -std::numeric_limits<double>::infinity();  // seconds
  bool ahead = false;                                         // there is such a row
  std::uint64_t rows = 0;                                     // of the trace
  double spacing = 0.0;                                       // of its first two rows, seconds
  std::uint64_t commonRows = 0;
  double lastCommon = 0.0;  // seconds
  std::string failure;
  json::CValue summary;      // of the run; null: there is none
  std::string aboutSummary;  // why
};

}  // namespace workbench

#endif
