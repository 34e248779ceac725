// What the command line says of a run.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_OPTIONS_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "json/json.h"
#include "runtime/runtime.h"
#include "workbench/commands/command.h"

namespace workbench {

// Names of files are empty where there is none.
struct TRunOptions {
  std::string file;
  std::optional<double> period;    // seconds
  std::optional<double> duration;  // seconds
  std::vector<std::string> assignments;
  std::uint64_t seed = 1;
  std::string input;                 // recorded data that drive elements
  std::vector<std::string> maps;     // of elements to its columns
  std::optional<std::string> plant;  // drives it; connections between commas, and dry; empty: all
  std::string connections;           // a text whose connections take the place of the application's
  std::vector<std::string> losses;   // NAME@S-S: inputs and connections taken away
  std::string record;                // a folder that keeps all that the run depended on
  std::string archive;               // a folder that keeps its history, for weeks
  std::uint64_t archiveDays = 0;     // files that stay; 0: all
  std::string journal;               // of operators and alarms; empty: named like the application
  bool realtime = false;
  bool panel = false;                   // serves the run's page
  std::optional<double> speed;          // real time, so many times faster
  std::string panelAddress;             // another address than this machine's own
  std::string panelTls;                 // CERT,KEY
  std::vector<std::string> panelHosts;  // NAME or NAME:PORT, by which it is reached too
  std::optional<int> realtimePriority;  // 1 to 99; none: as it comes
  std::string trace;
  bool traceState = false;
  std::uint64_t every = 1;      // periods a row
  std::string panes;            // a picture of the window at the end
  std::vector<double> panesAt;  // seconds: further pictures
  std::string plot;             // a plot of the run
  std::string curves;           // of the plot and the report; empty: the regulators'
  std::optional<double> from;   // seconds: the part of the run that they show
  std::optional<double> to;
  std::string report;                // a page of the run
  std::string compare;               // an earlier trace, beside this run in the report
  bool compareAny = false;           // also with another application
  std::string summary;               // the figures, as JSON
  std::vector<std::string> windows;  // S-S: measured by themselves
  bool quiet = false;
};

// Row by row.
std::vector<TOption> RunOptions(TRunOptions& options, TCommonOptions& common);

// By --set: names and values.
std::vector<std::pair<std::string, std::string>> Assigned(const TRunOptions& options);
// By --window, named as they are written.
std::vector<runtime::TNamedSpan> SpansOf(const TRunOptions& options);
// Those that say something else than the defaults, without their dashes; what is
// told by itself, --set, --seed and --input, isn't among them.
std::vector<std::pair<std::string, json::CValue>> GivenOptions(TRunOptions options, TCommonOptions common);

}  // namespace workbench

#endif
