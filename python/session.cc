#include "python/session.h"

#include <dlfcn.h>

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

namespace python {

namespace {

namespace fs = std::filesystem;

constexpr auto kLongestTurn = std::chrono::milliseconds(100);
constexpr char kPluginName[] = "loopbox.so";
constexpr char kCzech[] = "cs";

std::string& Language() {
  static std::string language = "en";
  return language;
}

// In the folder above the module's, or, once that is installed, in the libraries'.
fs::path OwnPlugin() {
  Dl_info module = {};
  dladdr(reinterpret_cast<void*>(&OwnPlugin), &module);
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(module.dli_fname, error).parent_path();
  const fs::path installed = (folder / LOOPBOX_INSTALLED_PLUGIN / kPluginName).lexically_normal();
  return fs::exists(installed, error) ? installed : folder.parent_path() / kPluginName;
}

// Those beside the module's own plug-in, which have the host's texts, then those
// beside this one, whose texts go first.
std::vector<std::string> LanguageFiles(const std::string& name, const fs::path& plugin) {
  std::vector<std::string> files;
  const fs::path own = OwnPlugin();
  for (const fs::path& beside : {own, plugin}) {
    std::error_code error;
    const fs::path file = fs::absolute(beside, error).parent_path() / (name + ".lang");
    if (fs::exists(file, error) && (files.empty() || files.front() != file)) files.push_back(file.string());
  }
  return files;
}

}  // namespace

bool ChooseLanguage(const std::string& name, std::string* error) {
  const std::vector<std::string> files = LanguageFiles(name, OwnPlugin());
  if (files.empty() && name != kCzech) {
    *error = "there is no language '" + name + "'";
    return false;
  }
  if (!runtime::SetLanguage(files, error)) return false;
  Language() = name;
  return true;
}

std::unique_ptr<CSession> CSession::Read(runtime::TReadOptions options, const std::string& plugin, std::uint64_t every,
                                         std::vector<runtime::TDiagnostic>* diagnostics) {
  std::unique_ptr<CSession> made(new CSession());
  CSession& session = *made;
  const std::string path = plugin.empty() ? OwnPlugin().string() : plugin;
  std::string error;
  if (runtime::SetLanguage(LanguageFiles(Language(), path), &error)) {
    session.plugin = runtime::CPlugin::Load(path, &error);
  }
  if (session.plugin == nullptr) {
    diagnostics->emplace_back().message = runtime::Translated(error);
    return nullptr;
  }
  options.print = [&session](const std::string& line) { session.printed.push_back(line); };
  session.application = runtime::CApplication::Read(options, *session.plugin, diagnostics);
  if (session.application == nullptr) return nullptr;
  runtime::CApplication& application = *session.application;
  application.SetMessageSink(
      [&session](const runtime::TRunTimeMessage& message) { session.messages.push_back(message); });
  for (std::size_t i = 0; i < application.ElementCount(); ++i) session.elements[application.Element(i).name] = i;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    session.instruments[application.Instrument(i).Name()] = i;
  }
  session.warnings = *diagnostics;
  session.trace = std::make_unique<runtime::CTrace>(application, std::vector<runtime::TStateColumn>(), nullptr);
  session.every = every;
  return made;
}

std::uint64_t CSession::Step(std::uint64_t count) {
  const auto end = std::chrono::steady_clock::now() + kLongestTurn;
  std::uint64_t done = 0;
  while (done < count && application->Step()) {
    ++done;
    if (every != 0 && application->PeriodsDone() % every == 0) {
      rows.resize(rows.size() + Columns().size());
      trace->ReadRow(rows.data() + rows.size() - Columns().size());
    }
    if (std::chrono::steady_clock::now() >= end) break;
  }
  return done;
}

std::ptrdiff_t CSession::Find(const TNumbers& numbers, const std::string& name) {
  const auto found = numbers.find(name);
  return found == numbers.end() ? -1 : static_cast<std::ptrdiff_t>(found->second);
}

}  // namespace python
