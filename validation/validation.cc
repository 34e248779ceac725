#include "validation/validation.h"

#include <fnmatch.h>

#include <algorithm>
#include <sstream>

#include "validation/cases.h"
#include "validation/child.h"

namespace validation {

namespace {

std::string FullName(const TResult& result) {
  return result.className.empty() ? result.name : result.name + ":" + result.className;
}

// A pattern means a case in every class, or with `:CLASS` in one.
bool Matches(const std::string& pattern, const TResult& result) {
  return fnmatch(pattern.c_str(), result.name.c_str(), 0) == 0 ||
         fnmatch(pattern.c_str(), FullName(result).c_str(), 0) == 0;
}

bool MatchesAny(const std::vector<std::string>& patterns, const TResult& result) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const auto& pattern) { return Matches(pattern, result); });
}

// The classes, one a line, learnt in a process of its own since the plug-in may
// do anything while it is loaded.
TEnd Survey(const TOptions& options) {
  static const TEntries kNone;
  const auto learn = [&options](const std::string& folder, char* note) {
    CProbe probe(options.plugin, "", kNone, folder, note);
    std::string names;
    for (const runtime::TClass& item : probe.Plugin().Classes()) names += item.name + "\n";
    return names;
  };
  return RunApart(options.patience, learn, options.interrupted);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(Printable(line));
  return lines;
}

void RunCase(const TOptions& options, const TCase& item, const TEntries& entries, TResult* result) {
  const auto run = [&](const std::string& folder, char* note) {
    CProbe probe(options.plugin, result->className, entries, folder, note);
    item.run(probe);
    if (!probe.Warnings().empty()) throw TVerdict{EOutcome::kWarning, probe.Warnings()};
    return std::string();
  };
  const TEnd end = RunApart(options.patience, run, options.interrupted);
  result->outcome = end.outcome;
  result->message = end.message;
  result->seconds = end.seconds;
}

}  // namespace

std::size_t TReport::CountOf(EOutcome outcome) const {
  return static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(), [&](const TResult& result) { return result.outcome == outcome; }));
}

bool Validate(const TOptions& options, TReport* report, std::string* error) try {
  report->plugin = options.plugin;
  const TEnd survey = Survey(options);
  const bool loads = survey.outcome == EOutcome::kPassed;
  report->classes = Lines(survey.answer);
  std::map<std::string, TEntries> entries;
  for (const std::string& name : report->classes) {
    if (options.reference != nullptr && !options.reference(name, &entries[name], error)) return false;
  }

  std::vector<std::pair<const TCase*, TResult>> planned;
  for (const TCase* item : AllCases()) {
    TResult result;
    result.name = item->name;
    result.claim = item->claim;
    if (item->scope == EScope::kPlugin || !loads) {
      planned.emplace_back(item, result);
      continue;
    }
    for (const std::string& name : report->classes) {
      result.className = name;
      planned.emplace_back(item, result);
    }
  }
  for (const auto* patterns : {&options.include, &options.exclude}) {
    for (const std::string& pattern : *patterns) {
      // Without a loaded plug-in no class is known.
      const bool unknowable = !loads && pattern.find(':') != std::string::npos;
      if (unknowable || std::any_of(planned.begin(), planned.end(),
                                    [&](const auto& item) { return Matches(pattern, item.second); })) {
        continue;
      }
      *error = "no case matches \"" + pattern + "\"";
      return false;
    }
  }

  for (auto& [item, result] : planned) {
    const bool isLoading = item == AllCases().front();
    const bool selected =
        (options.include.empty() || MatchesAny(options.include, result)) && !MatchesAny(options.exclude, result);
    // That a plug-in can't be loaded is said even where nobody asked.
    if (!selected && (loads || !isLoading)) continue;
    if (isLoading) {
      result.outcome = survey.outcome;
      result.message = survey.message;
      result.seconds = survey.seconds;
    } else if (!loads) {
      result.message = "the plug-in could not be loaded";
    } else {
      RunCase(options, *item, entries[result.className], &result);
    }
    report->results.push_back(std::move(result));
  }
  if (!report->results.empty()) return true;
  *error = "the patterns leave no case";
  return false;
} catch (const TInterruption&) {
  *error = "interrupted";
  return false;
}

const char* Word(EOutcome outcome) {
  switch (outcome) {
    case EOutcome::kPassed:
      return "passed";
    case EOutcome::kWarning:
      return "warning";
    case EOutcome::kSkipped:
      return "skipped";
    case EOutcome::kFailed:
      return "failed";
    case EOutcome::kCrashed:
      break;
  }
  return "crashed";
}

std::vector<const TCase*> AllCases() {
  std::vector<const TCase*> all;
  for (const auto& group : {IdentityCases(), LifetimeCases(), DefinitionCases(), ProcedureCases(), PeriodCases(),
                            FileCases(), ViewCases()}) {
    for (const TCase& item : group) all.push_back(&item);
  }
  return all;
}

std::vector<TCaseText> Cases() {
  std::vector<TCaseText> texts;
  for (const TCase* item : AllCases()) texts.push_back({item->name, item->scope == EScope::kClass, item->claim});
  return texts;
}

}  // namespace validation
