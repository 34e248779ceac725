#include "workbench/plugin_folder.h"

#include <filesystem>
#include <system_error>

#include "workbench/faults.h"

namespace workbench {
namespace {

constexpr char kPluginName[] = "loopbox.so";

}  // namespace

std::string PluginPath(const std::string& path) {
  if (!path.empty()) return path;
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  const std::filesystem::path beside = folder / kPluginName;
  const std::filesystem::path installed = (folder / LOOPBOX_INSTALLED_PLUGIN / kPluginName).lexically_normal();
  return std::filesystem::exists(installed, error) && !std::filesystem::exists(beside, error) ? installed : beside;
}

std::unique_ptr<runtime::CPlugin> LoadPlugin(const std::string& path, std::string* error) {
  const std::string chosen = PluginPath(path);
  const CCrashNotice notice(chosen + ": the plug-in crashed while it was loaded");
  return runtime::CPlugin::Load(chosen, error);
}

std::unique_ptr<runtime::CApplication> ReadApplication(const runtime::TReadOptions& options, runtime::CPlugin& plugin,
                                                       std::vector<runtime::TDiagnostic>* diagnostics) {
  const CCrashNotice notice(options.path + ": crashed while it was read with the plug-in " + plugin.Path());
  return runtime::CApplication::Read(options, plugin, diagnostics);
}

}  // namespace workbench
