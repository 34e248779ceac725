// `loopbox journal`: who did what in runs, for people, and whether it is whole.
#include <memory>
#include <string>
#include <vector>

#include "panel/journal_file.h"
#include "runtime/runtime.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/text.h"

namespace workbench {
namespace {

struct TJournalOptions {
  std::string file;
  bool json = false;
};

std::string TextOf(const json::CValue& value) { return value.String().value_or(""); }

std::string ValueText(const json::CValue& value) {
  if (const auto number = value.Number()) return Significant(*number);
  std::string text;
  for (const json::CValue& one : value.Elements()) {
    text += (text.empty() ? "" : " ") + (one.Number() ? Significant(*one.Number()) : "?");
  }
  return text;
}

// 2026-01-31 12:00:00.000  t=12.5 s  operate 127.0.0.1  set set_point 80 -> 85
std::string LineText(const json::CValue& line) {
  std::string time = TextOf(line.Member("time"));
  if (const std::size_t t = time.find('T'); t != std::string::npos) time[t] = ' ';
  if (time.ends_with('Z')) time.pop_back();
  std::string text = time + "  t=" + Seconds(line.Member("run_time").Number().value_or(0.0)) + " s  " +
                     TextOf(line.Member("who")) + "  " + TextOf(line.Member("what"));
  for (const std::string& part : {TextOf(line.Member("thing")), ValueText(line.Member("old"))}) {
    if (!part.empty()) text += " " + part;
  }
  const std::string now = ValueText(line.Member("new"));
  if (!now.empty()) text += " -> " + now;
  const std::string why = TextOf(line.Member("why"));
  if (TextOf(line.Member("outcome")) == "refused") text += "  " + runtime::Translated("refused");
  if (!why.empty()) text += ": " + runtime::Translated(why);
  return text;
}

int Journal(const TJournalOptions& options) {
  panel::TJournalVerdict verdict;
  std::string error;
  const auto visit = [&](std::string_view line, const json::CValue& value) {
    const bool isPlain = options.json || value.IsNull();
    Print((isPlain ? std::string(line) : LineText(value)) + "\n");
  };
  if (!panel::ReadJournal(options.file, visit, &verdict, &error)) return Fail(error);
  if (verdict.end.torn > 0) PrintError(options.file + ": the last line isn't whole: its writer was stopped");
  if (verdict.wrongLine != 0) {
    return Fail(options.file + ": line " + std::to_string(verdict.wrongLine) + ": " + verdict.why);
  }
  if (!options.json) {
    Print(runtime::Translated(Count(verdict.end.lines, "line") + ", the last with the hash " + verdict.end.hash) +
          "\n");
  }
  return kDone;
}

}  // namespace

TCommand JournalCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TJournalOptions>();
  return {"journal",
          "Print a journal, and verify it",
          {{"FILE", "", &options->file, "The journal of one or several runs", nullptr, nullptr, nullptr, true},
           {"--json", "", &options->json, "The lines as they are"},
           PluginOption(common),
           LanguageOption(common)},
          [options] { return Journal(*options); }};
}

}  // namespace workbench
