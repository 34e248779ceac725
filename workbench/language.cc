#include "workbench/language.h"

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "runtime/runtime.h"
#include "workbench/commands.h"
#include "workbench/console.h"
#include "workbench/plugin_folder.h"

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCzech = "cs";
constexpr std::string_view kEnglish = "en";
constexpr char kLanguageEnding[] = ".lang";

// "en_GB.UTF-8" is en.
std::string OfEnvironment() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == 0) continue;
    const std::string_view locale = value;
    return std::string(locale.substr(0, locale.find_first_of("_.@")));
  }
  return {};
}

// The file of a language; empty when there is none.
std::string Find(const std::string& name, const fs::path (&folders)[2]) {
  for (const fs::path& folder : folders) {
    std::error_code error;
    const fs::path path = folder / (name + kLanguageEnding);
    if (fs::exists(path, error)) return path.string();
  }
  return {};
}

std::string Available(const fs::path (&folders)[2]) {
  std::set<std::string> names = {std::string(kCzech)};
  for (const fs::path& folder : folders) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      if (entry.path().extension() == kLanguageEnding) names.insert(entry.path().stem().string());
    }
  }
  std::string list;
  for (const std::string& name : names) list.append(list.empty() ? "" : ", ").append(name);
  return list;
}

}  // namespace

int ChooseLanguage(const std::string& name, const std::string& pluginPath) {
  const fs::path folders[] = {fs::absolute(PluginPath(pluginPath)).parent_path(),
                              fs::path(PluginPath("")).parent_path()};
  const std::string chosen = name.empty() ? OfEnvironment() : name;
  if (chosen == kCzech || (name.empty() && chosen != kEnglish)) return kDone;
  const std::string path = chosen.find('/') == std::string::npos ? Find(chosen, folders) : std::string();
  if (path.empty()) {
    if (name.empty()) return kDone;
    PrintError("--language: there is no language \"" + name + "\"; there are " + Available(folders));
    return kCommandLineWrong;
  }
  std::string error;
  if (runtime::SetLanguage(path, &error)) return kDone;
  PrintError(error);
  return kApplicationWrong;
}

}  // namespace workbench
