// `loopbox panel`: what was kept of a run, in the panel's page.
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

#include "panel/kept_panel.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/csv.h"
#include "workbench/exit_status.h"
#include "workbench/run/pacing.h"
#include "workbench/run/record_head.h"

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr char kTimeColumn[] = "time";
constexpr double kServedAtOnce = 0.5;  // seconds, after which an interruption is seen

// A cell of a trace; NaN where it has no number.
double CellOf(const std::string& text) {
  double number = 0.0;
  const char* const end = text.data() + text.size();
  const auto [read, problem] = std::from_chars(text.data(), end, number);
  return problem == std::errc() && read == end ? number : std::numeric_limits<double>::quiet_NaN();
}

bool ReadKeptTrace(const std::string& path, panel::TKeptTrace* trace, std::string* error) {
  const std::unique_ptr<CCsvReader> reader = CCsvReader::Open(path, error);
  if (!reader) return false;
  const std::ptrdiff_t times = reader->Column(kTimeColumn);
  if (times < 0) {
    *error = path + ": it has no column time";
    return false;
  }
  const auto timeColumn = static_cast<std::size_t>(times);
  trace->columns = reader->Header();
  trace->columns.erase(trace->columns.begin() + times);
  double time = -std::numeric_limits<double>::infinity();
  CCsvReader::EOutcome outcome = CCsvReader::kEnd;
  while ((outcome = reader->Next(error)) == CCsvReader::kRow) {
    if (!reader->Later(timeColumn, &time, error)) return false;
    trace->rows.push_back(time);
    for (std::size_t column = 0; column <= trace->columns.size(); ++column) {
      if (column != timeColumn) trace->rows.push_back(CellOf(reader->NumberText(column)));
    }
  }
  if (outcome != CCsvReader::kEnd) return false;
  if (!trace->rows.empty()) return true;
  *error = path + ": it has no rows";
  return false;
}

std::unique_ptr<panel::CKeptPanel> OpenKept(const std::string& path, std::string* error) {
  std::error_code ignored;
  const fs::path place = fs::absolute(path).lexically_normal();
  const bool isFolder = fs::is_directory(place, ignored);
  const fs::path trace = isFolder ? place / kRecordTrace : place;
  if (isFolder && !fs::exists(trace, ignored)) return panel::CKeptPanel::OfArchive(path, error);
  panel::TKeptTrace kept;
  kept.name = (place.has_filename() ? place : place.parent_path()).stem().string();
  if (!ReadKeptTrace(trace.string(), &kept, error)) return nullptr;
  return panel::CKeptPanel::OfTrace(kept, error);
}

int ShowKept(const std::string& path) {
  std::string error;
  CatchInterruption();
  const std::unique_ptr<panel::CKeptPanel> shown = OpenKept(path, &error);
  if (!shown) return Fail(error);
  Print("see: " + shown->Link() + "\n");
  std::fflush(stdout);
  while (!InterruptionAsked()) shown->Serve(kServedAtOnce);
  return kDone;
}

}  // namespace

TCommand PanelCommand(TCommonOptions& common) {
  const auto path = std::make_shared<std::string>();
  return {"panel",
          "Show a trace, a record or an archive in the panel's page, without a run",
          {{"FILE_OR_DIR", "", path.get(), "A trace, or the folder of a record or an archive", nullptr, nullptr,
            nullptr, true},
           LanguageOption(common)},
          [path] { return ShowKept(*path); }};
}

}  // namespace workbench
