#include "workbench/plugin_folder.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "workbench/console.h"
#include "workbench/faults.h"

namespace workbench {
namespace {

constexpr char kPluginName[] = "loopbox.so";
constexpr char kReferenceEnding[] = ".ref";

}  // namespace

std::string PluginPath(const std::string& path) {
  if (!path.empty()) return path;
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  const std::filesystem::path beside = folder / kPluginName;
  const std::filesystem::path installed = (folder / LOOPBOX_INSTALLED_PLUGIN / kPluginName).lexically_normal();
  return std::filesystem::exists(installed, error) && !std::filesystem::exists(beside, error) ? installed : beside;
}

std::unique_ptr<runtime::CPlugin> LoadPlugin(const std::string& path) {
  std::string error;
  const std::string chosen = PluginPath(path);
  const CCrashNotice notice(chosen + ": the plug-in crashed while it was loaded");
  auto plugin = runtime::CPlugin::Load(chosen, &error);
  if (!plugin) PrintError(error);
  return plugin;
}

bool LoadReference(const std::string& plugin, const std::string& className, std::optional<CReference>* reference,
                   std::string* error) {
  reference->reset();
  const std::filesystem::path path = std::filesystem::path(plugin).parent_path() / (className + kReferenceEnding);
  std::error_code missing;
  if (!std::filesystem::exists(path, missing)) return true;
  return CReference::Load(path.string(), &reference->emplace(), error);
}

std::unique_ptr<runtime::CApplication> ReadApplication(const runtime::TReadOptions& options, runtime::CPlugin& plugin,
                                                       std::vector<runtime::TDiagnostic>* diagnostics) {
  const CCrashNotice notice(options.path + ": crashed while it was read with the plug-in " + plugin.Path());
  return runtime::CApplication::Read(options, plugin, diagnostics);
}

bool LoadReferences(const runtime::CPlugin& plugin, TReferences* references, std::string* error) {
  for (const runtime::TClass& item : plugin.Classes()) {
    std::optional<CReference> reference;
    if (!LoadReference(plugin.Path(), item.name, &reference, error)) return false;
    if (reference) references->emplace(item.name, *std::move(reference));
  }
  return true;
}

}  // namespace workbench
