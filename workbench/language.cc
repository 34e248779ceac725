#include "workbench/language.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/commands.h"
#include "workbench/console.h"
#include "workbench/plugin_folder.h"

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr char kCzech[] = "cs";
constexpr char kEnglish[] = "en";
constexpr char kLanguageEnding[] = ".lang";

// Where the files of languages may be: those beside the program's own plug-in
// have the host's texts, those beside another one its own.
std::vector<fs::path> Folders(const std::string& pluginPath) {
  std::vector<fs::path> folders = {fs::path(PluginPath("")).parent_path()};
  if (!pluginPath.empty()) folders.push_back(fs::path(pluginPath).parent_path());
  return folders;
}

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

}  // namespace

std::set<std::string> Languages(const std::string& pluginPath) {
  std::set<std::string> names = {kCzech};
  for (const fs::path& folder : Folders(pluginPath)) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder.empty() ? "." : folder, error)) {
      if (entry.path().extension() == kLanguageEnding) names.insert(entry.path().stem().string());
    }
  }
  return names;
}

int ChooseLanguage(const std::string& name, const std::string& pluginPath) {
  const std::string chosen = name.empty() ? OfEnvironment() : name;
  if (chosen == kCzech || (name.empty() && chosen != kEnglish)) return kDone;
  const std::set<std::string> languages = Languages(pluginPath);
  if (!languages.contains(chosen)) {
    if (name.empty()) return kDone;
    std::string message = "--language: there is no language \"" + name + "\"; there are";
    for (const std::string& language : languages) message += " " + language;
    PrintError(message);
    return kCommandLineWrong;
  }
  std::vector<std::string> paths;
  for (const fs::path& folder : Folders(pluginPath)) {
    const fs::path path = folder / (chosen + kLanguageEnding);
    std::error_code missing;
    if (fs::exists(path, missing)) paths.push_back(path.string());
  }
  std::string error;
  if (runtime::SetLanguage(paths, &error)) return kDone;
  PrintError(error);
  return kApplicationWrong;
}

}  // namespace workbench
