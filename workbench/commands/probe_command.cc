// `loopbox probe`: each point of an application's connections, read once.
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "plant/plant.h"
#include "plant/probe.h"
#include "runtime/runtime.h"
#include "workbench/commands/commands.h"
#include "workbench/console.h"
#include "workbench/exit_status.h"
#include "workbench/plugin_folder.h"
#include "workbench/references.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr const char* kOrders[] = {"abcd", "cdab", "badc", "dcba"};

std::string Text(const plant::TProbed& probed) {
  if (!probed.error.empty()) return runtime::Translated(probed.error);
  std::string text;
  for (const std::uint16_t word : probed.words) {
    std::array<char, 8> digits{};
    std::snprintf(digits.data(), digits.size(), "%04X ", word);
    text += digits.data();
  }
  if (!probed.text.empty()) text += "\"" + probed.text + "\" ";
  if (probed.isRetained) text += "(" + runtime::Translated("retained") + ") ";
  for (std::size_t i = 0; i < probed.values.size(); ++i) {
    text += probed.values.size() == 1 ? "= " : std::string(i == 0 ? "" : ", ") + kOrders[i] + " ";
    text += Significant(probed.values[i]);
  }
  return text + ", " + runtime::Translated("in " + Quantity(1000.0 * probed.time, "ms"));
}

struct TProbeOptions {
  std::string file;
  std::string connection;  // empty: all
  std::string connections;
};

// Whether every point answered.
bool ProbeConnection(const plant::TConnection& connection) {
  Print(connection.name + "\n");
  std::size_t width = 0;
  for (const plant::TInput& input : connection.inputs) width = std::max(width, input.name.size());
  for (const plant::TOutput& output : connection.outputs) width = std::max(width, output.name.size());
  bool isWhole = true;
  const auto tell = [&](const plant::TProbed& probed) {
    isWhole = isWhole && probed.error.empty();
    std::string name = probed.name;
    name.resize(std::max(width, name.size()), ' ');
    Print("  " + name + "  " + probed.place + "  " + Text(probed) + "\n");
    std::fflush(stdout);
  };
  std::string error;
  if (plant::Probe(connection, tell, &error)) return isWhole;
  Print("  " + runtime::Translated(error) + "\n");
  return false;
}

int Probe(const TProbeOptions& options, const std::string& pluginPath) {
  std::string error;
  const auto plugin = LoadPlugin(pluginPath, &error);
  if (!plugin) return Fail(error);
  TReferences references;
  if (!LoadReferences(*plugin, &references, &error)) return Fail(error);
  plant::CConnectionsReader connections;
  runtime::TReadOptions reading;
  reading.path = options.file;
  reading.words = [&references](const std::string& className) { return WordsOf(references, className); };
  reading.blocks = {&connections};
  if (!options.connections.empty()) reading.blockFiles = {{connections.Keyword(), options.connections}};
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = ReadApplication(reading, *plugin, &diagnostics);
  PrintDiagnostics(diagnostics);
  if (!application) return kApplicationWrong;
  const plant::TConnections& all = connections.Connections();
  if (all.empty()) return Fail(options.file + ": has no connections");
  plant::TPlantOptions chosen;
  if (!plant::ReadPlantWords(all, options.connection, &chosen, &error)) return Fail(error, kCommandLineWrong);
  bool isWhole = true;
  for (const plant::TConnection& connection : all) {
    const bool isChosen =
        std::find(chosen.connected.begin(), chosen.connected.end(), connection.name) != chosen.connected.end();
    if (isChosen && !ProbeConnection(connection)) isWhole = false;
  }
  return isWhole ? kDone : kRunTimeErrors;
}

}  // namespace

TCommand ProbeCommand(TCommonOptions& common) {
  const auto options = std::make_shared<TProbeOptions>();
  return {"probe",
          "Read each point of an application's connections once",
          {FileArgument(options->file),
           {"CONNECTION", "", &options->connection, "One of them (default: all)"},
           ConnectionsOption(options->connections),
           PluginOption(common),
           LanguageOption(common)},
          [options, &common] { return Probe(*options, common.plugin); }};
}

}  // namespace workbench
