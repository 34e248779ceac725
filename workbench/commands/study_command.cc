// `loopbox study`: thousands of runs of an application, here or by an engine of the
// user's.
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "processes/temporary_folder.h"
#include "runtime/runtime.h"
#include "study/study.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/report/study_report.h"
#include "workbench/run/pacing.h"
#include "workbench/run/study_text.h"
#include "workbench/run/whole_figures.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr char kPlan[] = "plan";
constexpr char kRun[] = "run";
constexpr char kMerge[] = "merge";

struct TStudyOptions {
  std::string first;   // plan, run, merge, or an application
  std::string second;  // what that takes: an application, a folder, a study's name
  std::string third;   // a study's name
  std::string output;
  std::string report;
  std::string engine;
  std::string cases;
  std::uint64_t chunk = 0;  // 0: not given
  std::uint64_t jobs = 0;   // 0: as many as there are processors
  std::optional<double> limit;
};

bool IsCases(const std::string& text, std::string* error) {
  study::TRange range;
  const char* const end = text.data() + text.size();
  const auto [dash, first] = std::from_chars(text.data(), end, range.first);
  const bool isJoined = first == std::errc() && dash != end && *dash == '-';
  const auto [rest, second] = std::from_chars(isJoined ? dash + 1 : end, end, range.last);
  if (isJoined && second == std::errc() && rest == end && range.first <= range.last) return true;
  *error = "expected two numbers of cases as 500-999, found \"" + text + "\"";
  return false;
}

// Of a text that IsCases accepts; a last one beyond the end is the end.
study::TRange CasesOf(const std::string& text, const study::TPlan& plan) {
  study::TRange range = {0, plan.runs - 1};
  if (text.empty()) return range;
  const std::size_t dash = text.find('-');
  std::from_chars(text.data(), text.data() + dash, range.first);
  std::from_chars(text.data() + dash + 1, text.data() + text.size(), range.last);
  range.last = std::min(range.last, plan.runs - 1);
  return range;
}

// That this process may use.
std::size_t Processors() {
  cpu_set_t set;
  return sched_getaffinity(0, sizeof(set), &set) == 0 ? static_cast<std::size_t>(CPU_COUNT(&set)) : 1;
}

// A line that tells how far the runs are, and how long they will take.
class CProgress {
 public:
  explicit CProgress(std::uint64_t theCases) : cases(theCases), isShown(isatty(STDERR_FILENO) != 0) {}
  ~CProgress() {
    if (isShown) std::fputs("\r\033[K", stderr);
  }
  CProgress(const CProgress&) = delete;
  CProgress& operator=(const CProgress&) = delete;

  void Show(std::uint64_t done) {
    const auto now = TClock::now();
    if (!isShown || now < next) return;
    next = now + std::chrono::milliseconds(100);
    std::string text = "runs: " + std::to_string(done) + " of " + std::to_string(cases);
    const double taken = std::chrono::duration<double>(now - begun).count();
    if (done > 0) {
      const double left = taken / static_cast<double>(done) * static_cast<double>(cases - done);
      text += ", " + std::to_string(static_cast<std::uint64_t>(left + 0.5)) + " s left";
    }
    std::fprintf(stderr, "\r\033[K%s", runtime::Translated(text).c_str());
    std::fflush(stderr);
  }

 private:
  using TClock = std::chrono::steady_clock;

  const std::uint64_t cases;
  const bool isShown;
  const TClock::time_point begun = TClock::now();
  TClock::time_point next;
};

class CStudyCommand {
 public:
  CStudyCommand(const TStudyOptions& theOptions, const TCommonOptions& theCommon)
      : options(theOptions), common(theCommon) {}

  int Run() {
    std::string error;
    plugin = LoadPlugin(common.plugin, &error);
    if (!plugin || !LoadReferences(*plugin, &references, &error)) return Fail(error);
    std::error_code failure;
    const auto measure = [this](const runtime::CApplication& application, const std::vector<study::TFigure>& asked) {
      return WholeFigures(application, references, asked);
    };
    site.emplace(study::TSite{*plugin, std::filesystem::read_symlink("/proc/self/exe", failure).string(),
                              NamesOfFigures, measure});
    CatchInterruption();
    if (options.first == kPlan) return Plan();
    if (options.first == kRun) return RunPlanned();
    if (options.first == kMerge) return MergePlanned();
    return RunHere();
  }

 private:
  bool Read(const std::string& file, const std::string& name);
  bool Make(const std::string& folder);
  bool ReadPlanned();
  bool RunCases(const study::TRange& range);
  study::TEffort Effort(CProgress* progress) const;
  bool Merge();
  int Tell();

  int Plan();
  int RunPlanned();
  int MergePlanned();
  int RunHere();

  const TStudyOptions& options;
  const TCommonOptions& common;
  std::unique_ptr<runtime::CPlugin> plugin;
  TReferences references;
  std::optional<study::TSite> site;
  std::optional<study::TPlan> plan;
  int status = kDone;  // of what failed
};

bool CStudyCommand::Read(const std::string& file, const std::string& name) {
  runtime::TReadOptions reading;
  reading.path = file;
  reading.words = [this](const std::string& className) { return WordsOf(references, className); };
  std::vector<runtime::TDiagnostic> diagnostics;
  std::string error;
  plan = study::ReadStudy(*site, reading, name, &diagnostics, &error);
  PrintDiagnostics(diagnostics);
  status = kApplicationWrong;
  if (!plan && !error.empty()) PrintError(error);
  if (!plan) return false;
  status = kDone;
  if (options.chunk != 0) plan->chunk = options.chunk;
  if (options.engine == study::kEngines[0] && options.chunk == 0) {
    plan->chunk = std::max(plan->chunk, (plan->runs - 1) / study::kMostTasks + 1);
  }
  return true;
}

bool CStudyCommand::Make(const std::string& folder) {
  std::string error;
  if (study::WritePlan(*site, &*plan, folder, &error)) return true;
  status = Fail(error);
  return false;
}

bool CStudyCommand::ReadPlanned() {
  std::string error;
  if (options.second.empty()) {
    status = Fail("expected the folder of a plan", kCommandLineWrong);
    return false;
  }
  plan = study::ReadPlan(*site, options.second, &error);
  if (!plan) status = Fail(error);
  return plan.has_value();
}

study::TEffort CStudyCommand::Effort(CProgress* progress) const {
  study::TEffort effort;
  effort.jobs = options.jobs == 0 ? Processors() : options.jobs;
  effort.limit = options.limit;
  effort.interruptionAsked = InterruptionAsked;
  effort.progress = [progress](std::uint64_t done) { progress->Show(done); };
  return effort;
}

bool CStudyCommand::RunCases(const study::TRange& range) {
  std::string error;
  study::ERunning ended = study::ERunning::kDone;
  {
    std::uint64_t cases = 0;
    for (const study::TRange& missing : study::MissingOf(study::PartsOf(*plan), range)) cases += missing.Count();
    CProgress progress(cases);
    ended = study::RunParts(*site, *plan, range, Effort(&progress), &error);
  }
  if (ended == study::ERunning::kFailed) status = Fail(error);
  if (ended == study::ERunning::kInterrupted) status = kInterrupted;
  return ended == study::ERunning::kDone;
}

// Says what is missing.
bool CStudyCommand::Merge() {
  std::vector<study::TRange> missing;
  std::string error;
  if (!study::Merge(*plan, &missing, &error)) {
    status = Fail(error);
    return false;
  }
  if (missing.empty()) return true;
  PrintError("missing cases " + study::TextOf(missing));
  status = kRunTimeErrors;
  return false;
}

int CStudyCommand::Tell() {
  std::string error;
  study::TStatistics statistics;
  if (!study::StatisticsOf(*plan, &statistics, &error)) return Fail(error);
  Print(StudyText(*plan, statistics));
  if (!options.report.empty() && !WriteStudyReport(*site, *plan, statistics, options.report, &error)) {
    return Fail(error);
  }
  return statistics.failed > 0 ? kRunTimeErrors : kDone;
}

int CStudyCommand::Plan() {
  std::string error;
  if (options.second.empty()) return Fail("expected an application to plan a study of", kCommandLineWrong);
  if (options.output.empty()) return Fail("a plan needs -o DIR", kCommandLineWrong);
  if (!Read(options.second, options.third) || !Make(options.output)) return status;
  for (std::size_t i = 0; i < std::size(study::kEngines); ++i) {
    if (options.engine != study::kEngines[i]) continue;
    if (!study::WriteScript(*site, *plan, static_cast<study::EEngine>(i), &error)) return Fail(error);
  }
  Print(options.output + ": " + runtime::Translated(Count(plan->runs, "run")) + ", " +
        runtime::Translated(Count((plan->runs - 1) / plan->chunk + 1, "part")) + "\n");
  return kDone;
}

int CStudyCommand::RunPlanned() {
  if (!ReadPlanned()) return status;
  const study::TRange range = CasesOf(options.cases, *plan);
  if (range.first > range.last) {
    return Fail("there are " + Count(plan->runs, "case") + ", from 0 on", kCommandLineWrong);
  }
  RunCases(range);
  return status;
}

int CStudyCommand::MergePlanned() {
  if (!ReadPlanned() || !Merge()) return status;
  std::vector<study::TRange> different;
  std::string error;
  study::ERunning ended = study::ERunning::kDone;
  {
    CProgress progress((plan->runs - 1) / study::kOneInRunAgain + 1);
    ended = study::RunAgain(*site, *plan, Effort(&progress), &different, &error);
  }
  if (ended == study::ERunning::kFailed) return Fail(error);
  if (ended == study::ERunning::kInterrupted) return kInterrupted;
  const int told = Tell();
  if (different.empty()) {
    Print(runtime::Translated("one in a hundred was run again, and gave the same bits") + "\n");
    return told;
  }
  return Fail("run again, these cases gave other bits: " + study::TextOf(different), kRunTimeErrors);
}

int CStudyCommand::RunHere() {
  if (!Read(options.first, options.second)) return status;
  std::optional<processes::CTemporaryFolder> temporary;
  if (options.output.empty()) temporary.emplace("study");
  const std::string folder = temporary ? temporary->Path() : options.output;
  if (!Make(folder)) return status;
  if (!RunCases({0, plan->runs - 1})) {
    if (status == kInterrupted && !temporary) {
      Print(runtime::Translated("interrupted; what is left:") + " loopbox study run " + folder + "\n", stderr);
    }
    return status;
  }
  return Merge() ? Tell() : status;
}

}  // namespace

TCommand StudyCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TStudyOptions>();
  return {"study",
          "Run an application many times, with other values each time",
          {{"FILE", "", &options->first, "The application; or plan FILE, run DIR, merge DIR", nullptr, nullptr, nullptr,
            true},
           {"NAME", "", &options->second, "Its study, where it has several; behind plan, run and merge what they take"},
           {"STUDY", "", &options->third, "Behind plan FILE its study"},
           {"-o,--output", "DIR", &options->output, "Keep the plan and all results there", FileName()},
           {"--report", "FILE", &options->report, "Write a page with distributions and the worst, median and best runs",
            FileName()},
           {"--jobs", "N", &options->jobs, "So many runs at once (default: as many as there are processors)", Whole(1)},
           {"--limit", "S", &options->limit, "End a run that takes longer, in seconds, and count it as failed",
            AtLeast(0.001, "at least 0.001 seconds")},
           {"--chunk", "N", &options->chunk, "Cases of a part (default: 500)", Whole(1)},
           {"--for", "slurm|parallel", &options->engine, "Write a script for an engine into the plan",
            OneOf({study::kEngines[0], study::kEngines[1]})},
           {"--cases", "A-B", &options->cases, "Run these of a plan (default: all that are missing)", IsCases},
           PluginOption(common),
           LanguageOption(common)},
          [options, &common] { return CStudyCommand(*options, common).Run(); }};
}

}  // namespace workbench
