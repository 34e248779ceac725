#include "workbench/commands/tuned_application.h"

#include <set>

#include "workbench/commands/run_options.h"
#include "workbench/console.h"
#include "workbench/plugin_folder.h"
#include "workbench/run/file_identity.h"

namespace workbench {

std::vector<TOption> TunedOptions(TTunedOptions& options, const std::string& fromHelp) {
  return {
      FileArgument(options.file),
      {.name = "INSTRUMENT", .value = "", .target = &options.instrument, .help = "The regulator", .isRequired = true},
      {.name = "--from",
       .value = "RECORD.csv",
       .target = &options.from,
       .help = fromHelp,
       .check = FileName(),
       .isList = true},
      {"--map", "ELEMENT=COLUMN", &options.maps,
       "The column of the records that holds the value or the output, or their times (time=COLUMN); may be "
       "repeated",
       Assignment(), "--from"}};
}

CTunedApplication::CTunedApplication(const TTunedOptions& theOptions, const TCommonOptions& theCommon)
    : options(theOptions),
      common(theCommon),
      notice(options.file + ": crashed while it was read with the plug-in " + PluginPath(common.plugin)) {}

EExitStatus CTunedApplication::Read() {
  std::string error;
  plugin = LoadPlugin(common.plugin, &error);
  if (!plugin || !LoadReferences(*plugin, &references, &error)) return Fail(error);
  TRunOptions assigned;
  assigned.assignments = options.assignments;
  reading.path = options.file;
  reading.words = [this](const std::string& className) { return WordsOf(references, className); };
  reading.initialValues = Assigned(assigned);
  reading.seed = options.seed;
  reading.keepsLearnt = false;
  std::vector<runtime::TDiagnostic> diagnostics;
  application = ReadApplication(reading, *plugin, &diagnostics);
  PrintDiagnostics(diagnostics);
  if (!application) return kApplicationWrong;
  loop = LoopOf(*application, references, options.file, options.instrument, &error);
  if (!loop) return Fail(error, kCommandLineWrong);
  while (application->Instrument(index).Name() != options.instrument) ++index;
  return kDone;
}

bool CTunedApplication::ReadRecords(std::vector<TLoopRecord>* records, std::string* error) const {
  for (const std::string& path : options.from) {
    std::optional<TLoopRecord> record = ReadLoopRecord(path, *loop, options.maps, application->Period(), error);
    if (!record) return false;
    records->push_back(*std::move(record));
  }
  return true;
}

bool CTunedApplication::Spares(const std::string& what, const std::string& name, std::string* error) const {
  std::vector<std::string> read = application->IncludedFiles();
  read.insert(read.end(), {options.file, plugin->Path()});
  read.insert(read.end(), options.from.begin(), options.from.end());
  const auto identity = IdentityOf(name);
  for (const std::string& file : read) {
    if (!identity || IdentityOf(file) != identity) continue;
    *error = name + ": " + what + " would overwrite a file that the run uses; name another one";
    return false;
  }
  return true;
}

std::size_t CTunedApplication::RegulatorCount() const {
  std::size_t count = 0;
  for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
    if (application->Instrument(i).PaneCount() > 0) ++count;
  }
  return count;
}

}  // namespace workbench
