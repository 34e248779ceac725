// The commands of the program `loopbox`. Each takes what the command line gave,
// and returns the program's exit status.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_COMMANDS_H
#define LOOPBOX_WORKBENCH_COMMANDS_COMMANDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace workbench {

constexpr char kProgramVersion[] = "1.4";

enum EExit : int {
  kDone = 0,
  kApplicationWrong = 1,  // or could not be run
  kCommandLineWrong = 2,
  kRunTimeErrors = 3,  // were reported
  kInterrupted = 130,
};

constexpr char kStandardOutput[] = "-";  // as the name of a trace

struct TRunOptions {
  std::string file;
  std::string plugin;              // empty: the one beside the program
  std::optional<double> period;    // seconds
  std::optional<double> duration;  // seconds
  std::vector<std::pair<std::string, std::string>> initialValues;
  std::uint64_t seed = 1;
  std::string input;  // recorded data that drive elements; empty: none
  bool realtime = false;
  std::optional<int> realtimePriority;  // 1 to 99; none: as it comes
  std::string trace;                    // empty: none
  bool traceState = false;
  std::uint64_t every = 1;      // periods a row
  std::string panes;            // a picture of the window at the end; empty: none
  std::string report;           // a page of the run; empty: none
  std::string compare;          // an earlier trace, beside this run in the report
  std::vector<double> panesAt;  // seconds: further pictures
  std::string plot;             // a plot of the run; empty: none
  bool quiet = false;
};

struct TValidateOptions {
  std::string plugin;                // empty: the one beside the program
  std::vector<std::string> include;  // globs over cases
  std::vector<std::string> exclude;
  double patience = 10.0;  // seconds that a case may take
  bool json = false;
  bool list = false;
};

int Run(const TRunOptions& options);
int Check(const std::string& file, const std::string& plugin);
// `images` is a folder for the plug-in's images; empty: they aren't written.
int ListClasses(const std::string& plugin, const std::string& images);
int DescribeClass(const std::string& className, const std::string& plugin, bool asMarkdown);
int Validate(const TValidateOptions& options);

}  // namespace workbench

#endif
