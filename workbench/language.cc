#include "workbench/language.h"

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "workbench/plugin_folder.h"

namespace workbench {
namespace {

namespace fs = std::filesystem;

constexpr char kCzech[] = "cs";
constexpr char kEnglish[] = "en";
constexpr char kLanguageEnding[] = ".lang";

struct TFile {
  std::string language;
  std::string path;
};

// Those beside the program's own plug-in, which have the host's texts, then
// those beside this one, whose texts go first.
std::vector<TFile> Files(const std::string& pluginPath) {
  std::vector<std::string> plugins = {PluginPath("")};
  if (!pluginPath.empty()) plugins.push_back(pluginPath);
  std::vector<TFile> files;
  for (const std::string& plugin : plugins) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(fs::absolute(plugin).parent_path(), error)) {
      const fs::path& path = entry.path();
      if (path.extension() == kLanguageEnding) files.push_back({path.stem().string(), path.string()});
    }
  }
  return files;
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
  for (const TFile& file : Files(pluginPath)) names.insert(file.language);
  return names;
}

bool FindLanguage(const std::string& name, const std::string& pluginPath, std::vector<std::string>* files,
                  std::string* error) {
  files->clear();
  std::string chosen = name;
  if (name.empty()) chosen = OfEnvironment() == kCzech ? kCzech : kEnglish;
  for (const TFile& file : Files(pluginPath)) {
    if (file.language == chosen) files->push_back(file.path);
  }
  if (!files->empty() || name.empty() || name == kCzech) return true;
  *error = "--language: there is no language \"" + name + "\"; there are";
  for (const std::string& language : Languages(pluginPath)) *error += " " + language;
  return false;
}

}  // namespace workbench
