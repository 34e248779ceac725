#include "workbench/commands/run_options.h"

#include <cstdlib>
#include <type_traits>
#include <variant>

namespace workbench {
namespace {

json::CValue ValueOf(const TOptionTarget& target) {
  return std::visit(
      [](const auto* value) -> json::CValue {
        using TValue = std::remove_cvref_t<decltype(*value)>;
        if constexpr (std::is_same_v<TValue, std::optional<double>> || std::is_same_v<TValue, std::optional<int>> ||
                      std::is_same_v<TValue, std::optional<std::string>>) {
          return *value ? json::CValue(**value) : json::CValue();
        } else if constexpr (std::is_same_v<TValue, std::vector<std::string>> ||
                             std::is_same_v<TValue, std::vector<double>>) {
          return json::CValue::ArrayOf(*value);
        } else {
          return json::CValue(*value);
        }
      },
      target);
}

}  // namespace

std::vector<TOption> RunOptions(TRunOptions& options, TCommonOptions& common) {
  constexpr char kSeconds[] = "a number of seconds";
  return {
      FileArgument(options.file),
      {"--period", "S", &options.period, "Seconds between periods, instead of the application's",
       AtLeast(0.001, "a number of seconds of at least 0.001")},
      {"--duration", "S", &options.duration, "Simulated seconds, instead of the application's", AtLeast(0.0, kSeconds)},
      SetOption(options.assignments),
      SeedOption(options.seed),
      {"--input", "FILE.csv", &options.input,
       "Recorded data, as a trace, that drive the data elements they name; - is standard input", FileName()},
      {"--map", "ELEMENT=COLUMN", &options.maps,
       "The column of the input that drives an element, or of its times (time=COLUMN); may be repeated", Assignment(),
       "--input"},
      {"--plant", "WORDS", &options.plant,
       "Drive the plant by the application's connections, in real time; with words between commas only those named, "
       "and with dry nothing is written"},
      ConnectionsOption(options.connections),
      {"--lose", "NAME@S-S", &options.losses,
       "Take an input or a connection that is simulated away from the first of these seconds to the second; may be "
       "repeated",
       NamedSpan()},
      {"--record", "DIR", &options.record, "Keep all that the run depended on in a folder, for loopbox replay",
       FileName()},
      {"--archive", "DIR", &options.archive, "Keep the history of runs in a folder, a file for each day", FileName()},
      {"--archive-days", "N", &options.archiveDays, "Delete the files of days before the last N", Whole(1),
       "--archive"},
      {"--journal", "FILE", &options.journal,
       "Append what operators do and what alarms come to this journal, not to one named like the application",
       FileName()},
      {"--realtime", "", &options.realtime, "Wait for the wall clock in each period"},
      {"--realtime-priority", "N", &options.realtimePriority,
       "Ask for a real-time priority, 1 to 99; needs --realtime, --panel or --plant", Between(1, 99)},
      {"--speed", "N", &options.speed, "Real time, N times faster: a simulated run that people follow",
       Within(1e-3, 1e6, "a number from 0.001 to 1000000")},
      {"--panel", "", &options.panel, "Serve a page that shows the run and steers it, in real time; prints its links"},
      {"--panel-address", "ADDR", &options.panelAddress,
       "Serve it on that address, as 192.168.1.20, instead of this machine's own; needs --panel-tls unless it is that",
       FileName(), "--panel"},
      {"--panel-tls", "CERT,KEY", &options.panelTls, "Serve it encrypted, with a certificate and its key in PEM",
       TwoFiles(), "--panel"},
      {"--panel-host", "NAME[:PORT]", &options.panelHosts,
       "A name by which the page is reached too, as of a tunnel or a certificate; may be repeated", FileName(),
       "--panel"},
      {"--trace", "FILE", &options.trace, "Write a trace as CSV; - is standard output", FileName()},
      {"--trace-state", "", &options.traceState, "Trace what regulators have learnt as well", nullptr, "--trace"},
      {"--every", "N", &options.every, "A row of the trace each N periods (default: 1)", Whole(1), "--trace"},
      {"--panes", "FILE.png|.svg", &options.panes, "Write a picture of the window at the end of the run",
       PictureName()},
      {"--plot", "FILE.png|.svg", &options.plot, "Write a plot of wish, value and output of each regulator",
       PictureName()},
      {"--report", "FILE.html", &options.report, "Write a page of plots, metrics, events and panes", FileName()},
      {"--curves", "LIST", &options.curves,
       "What plot and report draw: data elements, INSTRUMENT.wish_value, .value and .output, as "
       "\"pos,open;heat,cool\": "
       "panels between semicolons, their curves between commas"},
      {"--from", "S", &options.from, "Where plot and report begin to show the run", AtLeast(0.0, kSeconds)},
      {"--to", "S", &options.to, "Where they end", AtLeast(0.0, kSeconds)},
      {"--compare", "FILE.csv", &options.compare, "An earlier trace, beside this run in the report", FileName(),
       "--report"},
      {"--compare-any", "", &options.compareAny, "Compare with the trace of another application too", nullptr,
       "--compare"},
      {"--summary", "FILE.json", &options.summary, "Write the figures and where they come from, as JSON", FileName()},
      {"--panes-at", "S", &options.panesAt, "Write FILE-S.png at S seconds as well; may be repeated",
       AtLeast(0.0, kSeconds), "--panes"},
      {"--window", "S-S", &options.windows,
       "Measure the run from the first of these seconds to the second; may be repeated", Span()},
      PluginOption(common),
      {"--quiet", "", &options.quiet, "Only errors; no summary, notes or progress"},
      LanguageOption(common),
  };
}

std::vector<std::pair<std::string, std::string>> Assigned(const TRunOptions& options) {
  std::vector<std::pair<std::string, std::string>> assigned;
  for (const std::string& assignment : options.assignments) {
    const std::size_t equal = assignment.find('=');
    assigned.emplace_back(assignment.substr(0, equal), assignment.substr(equal + 1));
  }
  return assigned;
}

std::vector<runtime::TNamedSpan> SpansOf(const TRunOptions& options) {
  std::vector<runtime::TNamedSpan> spans;
  for (const std::string& window : options.windows) {
    char* end = nullptr;
    const double from = std::strtod(window.c_str(), &end);
    spans.push_back({window, from, std::strtod(end + 1, nullptr)});
  }
  return spans;
}

std::vector<std::pair<std::string, json::CValue>> GivenOptions(TRunOptions options, TCommonOptions common) {
  TRunOptions unsaid;
  TCommonOptions unsaidCommon;
  const std::vector<TOption> defaults = RunOptions(unsaid, unsaidCommon);
  const std::vector<TOption> rows = RunOptions(options, common);
  std::vector<std::pair<std::string, json::CValue>> given;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const std::string& name = rows[i].name;
    json::CValue value = ValueOf(rows[i].target);
    if (!name.starts_with("--") || name == "--set" || name == "--seed" || name == "--input") continue;
    if (value.Text() != ValueOf(defaults[i].target).Text()) given.emplace_back(name.substr(2), std::move(value));
  }
  return given;
}

}  // namespace workbench
