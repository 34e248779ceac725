// `loopbox validate`: the conformance check of a plug-in, for people and as JSON.
#include <memory>
#include <optional>
#include <string>

#include "runtime/runtime.h"
#include "validation/validation.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/run/pacing.h"
#include "workbench/text.h"

namespace workbench {
namespace {

int ListCases() {
  CTable table;
  for (const validation::TCaseText& item : validation::Cases()) {
    table.Add(
        {item.name, runtime::Translated(item.perClass ? "each class" : "plug-in"), runtime::Translated(item.claim)});
  }
  Print(table.Text(0));
  return kDone;
}

// The table of outcomes, what did not pass with its reason, and the counts.
void PrintReport(const validation::TReport& report) {
  CTable table;
  for (const validation::TResult& result : report.results) {
    table.Add({runtime::Translated(Word(result.outcome)), result.name, result.className,
               runtime::Translated(result.message)});
  }
  Print(report.plugin + "\n" + table.Text());
  std::string counts;
  for (const auto outcome :
       {validation::EOutcome::kPassed, validation::EOutcome::kWarning, validation::EOutcome::kSkipped,
        validation::EOutcome::kFailed, validation::EOutcome::kCrashed}) {
    counts += (counts.empty() ? "" : ", ") +
              runtime::Translated(std::to_string(report.CountOf(outcome)) + " " + Word(outcome));
  }
  Print(runtime::Translated(Count(report.results.size(), "case")) + ": " + counts + "\n" +
        runtime::Translated(report.Conforms() ? "The plug-in conforms." : "The plug-in does not conform.") + "\n");
}

bool ReadEntries(const std::string& plugin, const std::string& className, validation::TEntries* entries,
                 std::string* error) {
  std::optional<CReference> reference;
  if (!LoadReference(plugin, className, &reference, error)) return false;
  if (!reference) return true;
  for (const TKeyword& keyword : reference->Keywords()) {
    entries->push_back({keyword.section, keyword.keyword, keyword.type, keyword.example, keyword.range});
  }
  return true;
}

struct TValidateOptions {
  validation::TOptions validation;
  bool json = false;
  bool list = false;
};

int Validate(const TValidateOptions& options) {
  if (options.list) return ListCases();
  validation::TOptions asked = options.validation;
  asked.plugin = PluginPath(asked.plugin);
  bool referencesRead = true;
  asked.reference = [&](const std::string& className, validation::TEntries* entries, std::string* error) {
    referencesRead = ReadEntries(asked.plugin, className, entries, error);
    return referencesRead;
  };
  CatchInterruption();
  asked.interrupted = InterruptionAsked;
  validation::TReport report;
  std::string error;
  if (!validation::Validate(asked, &report, &error)) {
    if (InterruptionAsked()) return Fail(error, kInterrupted);
    return Fail(error, referencesRead ? kCommandLineWrong : kApplicationWrong);
  }
  if (options.json) {
    Print(Json(report));
  } else {
    PrintReport(report);
  }
  return report.Conforms() ? kDone : kApplicationWrong;
}

}  // namespace

TCommand ValidateCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TValidateOptions>();
  validation::TOptions& asked = options->validation;
  return {"validate",
          "Check that a plug-in conforms",
          {{"PLUGIN", "", &asked.plugin, "The plug-in (default: loopbox.so beside the program)", FileName()},
           {"--list", "", &options->list, "Name all cases and what each proves; run none"},
           {"--include", "PATTERN", &asked.include, "Only the cases that match; may be repeated", nullptr, nullptr,
            "--list"},
           {"--exclude", "PATTERN", &asked.exclude, "Not the cases that match; may be repeated", nullptr, nullptr,
            "--list"},
           {"--patience", "S", &asked.patience, "Seconds that a case may take (default: 10)",
            Within(0.1, validation::kMostPatience, "0.1 to 3600 seconds")},
           {"--json", "", &options->json, "The report as one JSON document", nullptr, nullptr, "--list"},
           LanguageOption(common)},
          [options] { return Validate(*options); }};
}

}  // namespace workbench
