#include "workbench/commands/run_options.h"

namespace workbench {

std::vector<TOption> RunOptions(TRunOptions& options, TCommonOptions& common) {
  constexpr char kSeconds[] = "a number of seconds";
  return {
      FileArgument(options.file),
      {"--period", "S", &options.period, "Seconds between periods, instead of the application's",
       AtLeast(0.001, "a number of seconds of at least 0.001")},
      {"--duration", "S", &options.duration, "Simulated seconds, instead of the application's", AtLeast(0.0, kSeconds)},
      {"--set", "NAME=VALUE", &options.assignments,
       "The initial value of a data element, a constant, or an entry of a definition (INSTRUMENT.KEYWORD); may be "
       "repeated",
       Assignment()},
      {"--seed", "N", &options.seed, "What random numbers start from (default: 1)", Whole(0)},
      {"--input", "FILE.csv", &options.input,
       "Recorded data, as a trace, that drive the data elements they name; - is standard input", FileName()},
      {"--map", "ELEMENT=COLUMN", &options.maps,
       "The column of the input that drives an element, or of its times (time=COLUMN); may be repeated", Assignment(),
       "--input"},
      {"--realtime", "", &options.realtime, "Wait for the wall clock in each period"},
      {"--realtime-priority", "N", &options.realtimePriority, "Ask for a real-time priority, 1 to 99", Between(1, 99),
       "--realtime"},
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
      {"--panes-at", "S", &options.panesAt, "Write FILE-S.png at S seconds as well; may be repeated",
       AtLeast(0.0, kSeconds), "--panes"},
      PluginOption(common),
      {"--quiet", "", &options.quiet, "Only errors; no summary, notes or progress"},
      LanguageOption(common),
  };
}

}  // namespace workbench
