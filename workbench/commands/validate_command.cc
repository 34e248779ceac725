// `loopbox validate`: the conformance check of a plug-in, for people and as JSON.
#include <cstdio>
#include <string>

#include "validation/validation.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/plugin_folder.h"
#include "workbench/text.h"

namespace workbench {
namespace {

void Print(const std::string& text) { std::fputs(text.c_str(), stdout); }

int ListCases() {
  CTable table;
  for (const validation::TCaseText& item : validation::Cases()) {
    table.Add({item.name, item.perClass ? "each class" : "plug-in", item.claim});
  }
  Print(table.Text(0));
  return kDone;
}

// The table of outcomes, what did not pass with its reason, and the counts.
void PrintReport(const validation::TReport& report) {
  CTable table;
  for (const validation::TResult& result : report.results) {
    table.Add({Word(result.outcome), result.name, result.className, result.message});
  }
  Print(report.plugin + "\n" + table.Text());
  std::string counts;
  for (const auto outcome :
       {validation::EOutcome::kPassed, validation::EOutcome::kWarning, validation::EOutcome::kSkipped,
        validation::EOutcome::kFailed, validation::EOutcome::kCrashed}) {
    counts += (counts.empty() ? "" : ", ") + std::to_string(report.CountOf(outcome)) + " " + Word(outcome);
  }
  Print(Count(report.results.size(), "case") + ": " + counts + "\n" +
        (report.Conforms() ? "The plug-in conforms.\n" : "The plug-in does not conform.\n"));
}

bool Reference(const std::string& plugin, const std::string& className, validation::TEntries* entries,
               std::string* error) {
  std::optional<CReference> reference;
  if (!LoadReference(plugin, className, &reference, error)) return false;
  if (!reference) return true;
  for (const TKeyword& keyword : reference->Keywords()) {
    entries->push_back({keyword.section, keyword.keyword, keyword.type, keyword.example, keyword.range});
  }
  return true;
}

}  // namespace

int Validate(const TValidateOptions& options) {
  if (options.list) return ListCases();
  validation::TOptions asked;
  asked.plugin = PluginPath(options.plugin);
  asked.include = options.include;
  asked.exclude = options.exclude;
  asked.patience = options.patience;
  asked.reference = [&asked](const std::string& className, validation::TEntries* entries, std::string* error) {
    return Reference(asked.plugin, className, entries, error);
  };
  validation::TReport report;
  std::string error;
  const validation::EProblem problem = validation::Validate(asked, &report, &error);
  if (problem != validation::EProblem::kNone) {
    PrintError(error);
    return problem == validation::EProblem::kPattern ? kCommandLineWrong : kApplicationWrong;
  }
  if (options.json) {
    Print(Json(report));
  } else {
    PrintReport(report);
  }
  return report.Conforms() ? kDone : kApplicationWrong;
}

}  // namespace workbench
