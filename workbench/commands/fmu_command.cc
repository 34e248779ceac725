// `loopbox fmu`: an application as a functional mock-up unit, and the check of one.
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "fmu/fmu.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/text.h"
#include "workbench/version.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

constexpr char kCheck[] = "check";

struct TFmuOptions {
  std::string file;  // or the word check, then the unit
  std::string unit;
  std::string output;
  fmu::TExport what;
};

std::string Listed(const char* label, const std::vector<std::string>& names) {
  std::string text = runtime::Translated(label) + ":";
  for (const std::string& name : names) text.append(" ").append(name);
  return text + "\n";
}

int Export(const TFmuOptions& options, const TCommonOptions& common) {
  std::string error;
  const auto plugin = LoadPlugin(common.plugin, &error);
  TReferences references;
  if (!plugin || !LoadReferences(*plugin, &references, &error)) return Fail(error);
  fmu::TExport what = options.what;
  what.file = options.file;
  what.tool = std::string("loopbox ") + kProgramVersion;
  runtime::TReadOptions reading;
  reading.path = what.file;
  reading.words = [&references](const std::string& className) { return WordsOf(references, className); };
  reading.print = [](const std::string&) {};
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = ReadApplication(reading, *plugin, &diagnostics);
  PrintDiagnostics(diagnostics);
  if (!application) return kApplicationWrong;
  const std::filesystem::path folder = std::filesystem::path(PluginPath("")).parent_path();
  const fmu::TParts parts{plugin->Path(), (folder / "loopbox-fmu.so").string(), (folder / "loopbox-fmu").string()};
  fmu::TExported made;
  if (!fmu::Export(*application, parts, what, &made, &error)) return Fail(error);
  if (!WriteWholeFile(options.output, made.bytes, &error)) return Fail(error);
  for (const std::string& note : made.notes) PrintError(note);
  Print(Listed("inputs", made.inputs) + Listed("outputs", made.outputs) + runtime::Translated("parameters") + ": " +
        std::to_string(made.parameters) + "\n" +
        runtime::Translated(made.keepsProcess ? "the process stays in it" : "the process is left out") + "\n");
  return kDone;
}

int Check(const TFmuOptions& options) {
  std::string error;
  std::vector<fmu::TCase> cases;
  if (!fmu::Check(options.unit, &cases, &error)) return Fail(error);
  CTable table;
  bool isRight = true;
  for (const fmu::TCase& one : cases) {
    const bool failed = one.outcome == fmu::TCase::kFailed;
    isRight = isRight && !failed;
    const char* const word = failed ? "failed" : one.outcome == fmu::TCase::kPassed ? "passed" : "skipped";
    table.Add({runtime::Translated(word), one.name, runtime::Translated(one.message)});
  }
  Print(table.Text() + runtime::Translated(isRight ? "The unit keeps the rules." : "The unit breaks the rules.") +
        "\n");
  return isRight ? kDone : kApplicationWrong;
}

int Fmu(const TFmuOptions& options, const TCommonOptions& common) {
  if (options.file == kCheck && !options.unit.empty()) return Check(options);
  if (!options.unit.empty()) return Fail("one application is expected, or check and a unit", kCommandLineWrong);
  if (options.output.empty()) return Fail("-o is needed: the file of the unit", kCommandLineWrong);
  return Export(options, common);
}

}  // namespace

TCommand FmuCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TFmuOptions>();
  return {"fmu",
          "Make an application a unit for co-simulation (FMI 2.0), or check one",
          {{"FILE", "", &options->file, "The application, or the word check", nullptr, nullptr, nullptr, true},
           {"UNIT", "", &options->unit, "The unit that is checked"},
           {"-o", "FILE", &options->output, "The file of the unit, NAME.fmu", FileName()},
           {"--input", "NAME", &options->what.inputs, "A further input: a data element"},
           {"--output", "NAME", &options->what.outputs, "A further output: a data element"},
           {"--with-process", "", &options->what.keepsProcess, "The process stays in the unit"},
           PluginOption(common),
           LanguageOption(common)},
          [options, &common] { return Fmu(*options, common); }};
}

}  // namespace workbench
