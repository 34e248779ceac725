// `loopbox archive`: what an archive holds, and a part of it as CSV.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/run/iso_time.h"
#include "workbench/run/trace_file.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr char kList[] = "list";
constexpr char kExport[] = "export";

struct TArchiveOptions {
  std::string action;
  std::string folder;
  std::uint64_t run = 0;  // from 1; 0: not said
  std::string from;
  std::string to;
  std::string output = kStandardOutput;
};

bool IsMoment(const std::string& text, std::string* error) {
  std::string ignored;
  if (ReadIsoTime(text) || AtLeast(0.0, "")(text, &ignored)) return true;
  *error = "expected a time of ISO 8601, or a number of seconds since the run's start, found \"" + text + "\"";
  return false;
}

// As seconds of a run. A time of ISO 8601 without an offset is of UTC.
double MomentOf(const std::string& text, const archive::TRun& run) {
  const std::optional<TInstant> instant = ReadIsoTime(text);
  if (!instant) return std::strtod(text.c_str(), nullptr);
  return static_cast<double>(instant->seconds) - run.start + instant->fraction;
}

std::string IsoText(double time) {
  const std::time_t seconds = std::llround(time);
  std::tm date{};
  gmtime_r(&seconds, &date);
  char text[64];
  return {text, std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &date)};
}

std::string Megabytes(std::uint64_t bytes) { return Quantity(static_cast<double>(bytes) * 1e-6, "MB"); }

int List(const archive::CArchive& archive) {
  std::string text;
  CTable days;
  for (const archive::TDay& day : archive.Days()) days.Add({day.name, Megabytes(day.size)});
  text += runtime::Translated("days (UTC)") + "\n" + days.Text();
  CTable runs;
  std::vector<std::string> heading = {"run", "start (UTC)", "application", "period", "from", "to", "channels", "lost"};
  for (std::string& label : heading) label = runtime::Translated(std::move(label));
  runs.Add(std::move(heading));
  for (std::size_t i = 0; i < archive.Runs().size(); ++i) {
    const archive::TRun& run = archive.Runs()[i];
    runs.Add({std::to_string(i + 1), IsoText(run.start), run.application, Quantity(run.period, "s"),
              Quantity(static_cast<double>(run.first) * run.period, "s"),
              Quantity(static_cast<double>(run.last) * run.period, "s"),
              std::to_string(archive.Channels(run.id).size()), std::to_string(run.lost)});
  }
  Print(text + runs.Text());
  return kDone;
}

// The last one that has something of what is asked for. Null with a message.
const archive::TRun* Chosen(const TArchiveOptions& options, const archive::CArchive& archive, archive::TExport* what,
                            std::string* error) {
  const std::vector<archive::TRun>& runs = archive.Runs();
  for (std::size_t i = runs.size(); i-- > 0;) {
    const archive::TRun& run = runs[i];
    if (options.run != 0 && options.run != i + 1) continue;
    const double begin = static_cast<double>(run.first) * run.period;
    const double end = static_cast<double>(run.last) * run.period;
    *what = {run.id, options.from.empty() ? begin : MomentOf(options.from, run),
             options.to.empty() ? end : MomentOf(options.to, run)};
    if (what->from <= what->to && what->from <= end && what->to >= begin) return &run;
  }
  *error = options.folder + ": the archive has no run in that time";
  return nullptr;
}

int Export(const TArchiveOptions& options, archive::CArchive& archive) {
  std::string error;
  archive::TExport what;
  if (Chosen(options, archive, &what, &error) == nullptr) return Fail(error);
  std::FILE* const file = options.output == kStandardOutput ? stdout : std::fopen(options.output.c_str(), "wb");
  if (file == nullptr) return Fail(options.output + ": the export can't be written");
  bool isWhole = archive.Export(what, file, &error);
  if (std::fflush(file) != 0 && isWhole) {
    isWhole = false;
    error = options.output + ": the export is not complete";
  }
  if (file != stdout) std::fclose(file);
  return isWhole ? kDone : Fail(error);
}

int Archive(const TArchiveOptions& options) {
  std::string error;
  const auto archive = archive::CArchive::Open(options.folder, &error);
  if (archive == nullptr) return Fail(error);
  return options.action == kList ? List(*archive) : Export(options, *archive);
}

}  // namespace

TCommand ArchiveCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TArchiveOptions>();
  return {"archive",
          "List what an archive holds, or write a part of it as CSV",
          {{"ACTION", "", &options->action, "list or export", OneOf({kList, kExport}), nullptr, nullptr, true},
           {"DIR", "", &options->folder, "The folder that run --archive keeps", nullptr, nullptr, nullptr, true},
           {"--run", "N", &options->run, "Export this one of those that are listed (default: the last in that time)",
            Whole(1)},
           {"--from", "T", &options->from, "Export from this time on: of ISO 8601, or seconds since the run's start",
            IsMoment},
           {"--to", "T", &options->to, "Export up to this time", IsMoment},
           {"--output", "FILE", &options->output, "Write the export into a file", FileName()},
           LanguageOption(common)},
          [options] { return Archive(*options); }};
}

}  // namespace workbench
