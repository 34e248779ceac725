#include "study/plan.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "fmu/units.h"
#include "hash/hash.h"
#include "json/json.h"
#include "study/files.h"
#include "study/sampling.h"
#include "study/study_reader.h"

namespace study {
namespace {

constexpr int kSchema = 1;
constexpr char kText[] = "application.lbx";
constexpr char kDescription[] = "study.json";

struct THashed {
  const char* name;
  std::string hash;
};

std::string InFolder(const TPlan& plan, const std::string& name) { return plan.folder + "/" + name; }

// Of the text, the plug-in and the program. False with a message.
bool Hashes(const TSite& site, const TPlan& plan, std::vector<THashed>* hashes, std::string* error) {
  *hashes = {{"text", hash::Hex(hash::Sha256(plan.text))}};
  for (const auto& [name, path] : {std::pair("plugin", site.plugin.Path()), std::pair("program", site.program)}) {
    const std::optional<hash::TSha256> found = hash::Sha256OfFile(path, error);
    if (!found) return false;
    hashes->push_back({name, hash::Hex(*found)});
  }
  return true;
}

// What a run reads beside the text goes along.
bool CopyFiles(const TPlan& plan, const std::vector<std::string>& files, const std::string& from, std::string* error) {
  const std::filesystem::path base = from.empty() ? "." : from;
  for (const std::string& name : files) {
    const std::filesystem::path within = std::filesystem::path(name).lexically_relative(base);
    std::error_code failure;
    if (within.empty() || *within.begin() == "..") {
      *error = name + ": stands outside the application's folder and can't go along with the plan";
      return false;
    }
    const std::filesystem::path copy = std::filesystem::path(plan.folder) / within;
    std::filesystem::create_directories(copy.parent_path(), failure);
    std::filesystem::copy_file(name, copy, std::filesystem::copy_options::overwrite_existing, failure);
    if (!failure) continue;
    *error = name + ": can't be copied into the plan: " + failure.message();
    return false;
  }
  return true;
}

// The application as the first case has it: names and values that don't fit are found
// before anything runs. Yields the paths of the files that it reads; none with a message.
std::optional<std::vector<std::string>> ReadFirst(const TSite& site, const TPlan& plan, const std::string& folder,
                                                  std::string* error) {
  const CSampling sampling(plan.definition);
  runtime::TReadOptions reading;
  reading.path = plan.file;
  reading.text = plan.text;
  reading.folder = folder;
  reading.keepsLearnt = false;
  const std::vector<std::string> values = sampling.ValuesOf(0);
  for (std::size_t i = 0; i < values.size(); ++i) {
    reading.initialValues.emplace_back(plan.definition.inputs[i].name, values[i]);
  }
  fmu::CUnits units(folder);
  units.AddTo(&reading);
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = runtime::CApplication::Read(reading, site.plugin, &diagnostics);
  if (!application || !units.Check(*application, &diagnostics)) {
    const auto wrong = std::find_if(diagnostics.begin(), diagnostics.end(),
                                    [](const auto& one) { return one.kind == runtime::TDiagnostic::kError; });
    *error = plan.file + ": study '" + plan.definition.name + "': " + wrong->message;
    return std::nullopt;
  }
  std::vector<std::string> files;
  for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
    const std::vector<std::string> read = application->Instrument(i).FilesRead();
    files.insert(files.end(), read.begin(), read.end());
  }
  for (const fmu::TUnitProcess& unit : units.Processes()) {
    if (!fmu::GoesAlong(unit, error)) return std::nullopt;
    files.push_back(unit.path);
  }
  return files;
}

bool WriteCases(const TPlan& plan, std::string* error) {
  const CSampling sampling(plan.definition);
  CWholeFile file(CasesName(plan));
  std::string row = "case,seed";
  for (const TInput& input : plan.definition.inputs) row += "," + input.name;
  file.Write(row + "\n");
  for (std::uint64_t number = 0; number < plan.runs; ++number) {
    row = std::to_string(number) + "," + std::to_string(sampling.SeedOf(number));
    for (const std::string& value : sampling.ValuesOf(number)) row += "," + value;
    file.Write(row + "\n");
  }
  return file.Finish(error);
}

json::CValue Description(const TPlan& plan, const std::vector<THashed>& hashes) {
  json::CValue inputs = json::CValue::Array();
  for (const TInput& input : plan.definition.inputs) inputs.Append(input.name);
  json::CValue kept = json::CValue::Array();
  for (const TFigure& figure : plan.definition.figures) kept.Append(figure.name);
  json::CValue sha256 = json::CValue::Object();
  for (const THashed& hashed : hashes) sha256.Set(hashed.name, hashed.hash);
  return {{"schema", kSchema},
          {"study", plan.definition.name},
          {"file", plan.file},
          {"runs", plan.runs},
          {"chunk", plan.chunk},
          {"seed", plan.definition.seed},
          {"sampling", kSamplings[static_cast<std::size_t>(plan.definition.sampling)]},
          {"inputs", std::move(inputs)},
          {"kept", std::move(kept)},
          {"sha256", std::move(sha256)}};
}

}  // namespace

std::string CasesName(const TPlan& plan) { return InFolder(plan, "cases.csv"); }
std::string ResultsName(const TPlan& plan) { return InFolder(plan, "results.csv"); }
std::string FailuresName(const TPlan& plan) { return InFolder(plan, "failures.csv"); }
std::string PartsFolder(const TPlan& plan) { return InFolder(plan, "parts"); }

std::optional<TPlan> ReadStudy(const TSite& site, runtime::TReadOptions reading, const std::string& name,
                               std::vector<runtime::TDiagnostic>* diagnostics, std::string* error) {
  CStudyReader reader(site.figures);
  reading.blocks = {&reader};
  reading.keepsLearnt = false;
  const auto application = runtime::CApplication::Read(reading, site.plugin, diagnostics);
  if (!application) return std::nullopt;
  const std::vector<TDefinition>& all = reader.Definitions();
  std::string names;
  for (const TDefinition& one : all) names += (names.empty() ? "" : ", ") + one.name;
  const auto chosen = std::find_if(all.begin(), all.end(), [&](const TDefinition& one) {
    return one.name == name || (name.empty() && all.size() == 1);
  });
  if (chosen != all.end()) {
    TPlan plan;
    plan.file = reading.path;
    plan.text = application->Text();
    plan.definition = *chosen;
    plan.runs = CSampling(plan.definition).Count();
    return plan;
  }
  if (all.empty()) {
    *error = reading.path + ": has no study";
  } else if (name.empty()) {
    *error = reading.path + ": has several studies: name one of " + names;
  } else {
    *error = reading.path + ": has no study '" + name + "'; there is " + names;
  }
  return std::nullopt;
}

bool WritePlan(const TSite& site, TPlan* plan, const std::string& folder, std::string* error) {
  plan->folder = folder;
  std::error_code failure;
  const std::string description = InFolder(*plan, kDescription);
  if (std::filesystem::exists(description, failure)) {
    *error = folder + ": has a plan already";
    return false;
  }
  std::filesystem::create_directories(PartsFolder(*plan), failure);
  if (failure) {
    *error = folder + ": can't be made: " + failure.message();
    return false;
  }
  const std::string from = std::filesystem::path(plan->file).parent_path().string();
  const auto files = ReadFirst(site, *plan, from, error);
  std::vector<THashed> hashes;
  return files && Hashes(site, *plan, &hashes, error) && CopyFiles(*plan, *files, from, error) &&
         WriteFile(InFolder(*plan, kText), plan->text, error) && WriteCases(*plan, error) &&
         WriteFile(description, Description(*plan, hashes).Text(2) + "\n", error);
}

std::optional<TPlan> ReadPlan(const TSite& site, const std::string& folder, std::string* error) {
  const std::string name = folder + "/" + kDescription;
  const std::optional<std::string> bytes = ReadFile(name, error);
  if (!bytes) return std::nullopt;
  const std::optional<json::CValue> read = json::CValue::ParseUnambiguous(*bytes);
  const json::CValue description = read ? *read : json::CValue();
  const std::optional<std::string> chosen = description.Member("study").String();
  const double chunk = description.Member("chunk").Number().value_or(0.0);
  if (!chosen || description.Member("schema").Number() != static_cast<double>(kSchema) ||
      !(chunk >= 1.0 && chunk <= 1e9)) {
    *error = name + ": is no plan of a study";
    return std::nullopt;
  }
  runtime::TReadOptions reading;
  reading.path = folder + "/" + kText;
  std::vector<runtime::TDiagnostic> diagnostics;
  std::optional<TPlan> plan = ReadStudy(site, reading, *chosen, &diagnostics, error);
  if (!plan) {
    for (const runtime::TDiagnostic& diagnostic : diagnostics) {
      if (diagnostic.kind == runtime::TDiagnostic::kError) *error = runtime::Format(diagnostic);
    }
    return std::nullopt;
  }
  plan->folder = folder;
  plan->file = description.Member("file").String().value_or(reading.path);
  plan->chunk = static_cast<std::uint64_t>(chunk);
  std::vector<THashed> hashes;
  if (!Hashes(site, *plan, &hashes, error)) return std::nullopt;
  for (const THashed& hashed : hashes) {
    if (description.Member("sha256").Member(hashed.name).String() == hashed.hash) continue;
    *error =
        folder + ": the plan was made with another " + (hashed.name == std::string("plugin") ? "plug-in" : hashed.name);
    return std::nullopt;
  }
  return plan;
}

bool CaseOf(const CRows& rows, std::size_t inputs, TCase* read) {
  const std::vector<std::string_view> fields = rows.Fields(inputs + 1);
  if (fields.size() != inputs + 1) return false;
  read->number = rows.Number();
  const auto [end, status] = std::from_chars(fields[0].data(), fields[0].data() + fields[0].size(), read->seed);
  read->values.assign(fields.begin() + 1, fields.end());
  return status == std::errc() && end == fields[0].data() + fields[0].size();
}

std::string CommandOf(const TPlan& plan, const TCase& one) {
  std::string command = "loopbox run " + plan.file + " --seed " + std::to_string(one.seed);
  for (std::size_t i = 0; i < one.values.size(); ++i) {
    command += " --set " + plan.definition.inputs[i].name + "=" + one.values[i];
  }
  return command;
}

}  // namespace study
