#include "workbench/commands/run_plant.h"

#include <utility>

#include "workbench/console.h"
#include "workbench/run/pacing.h"
#include "workbench/text.h"

namespace workbench {

void CRunPlant::AddTo(runtime::TReadOptions* reading) {
  reading->blocks.push_back(&connections);
  if (!options.connections.empty()) reading->blockFiles.emplace_back(connections.Keyword(), options.connections);
}

void CRunPlant::AddWarnings(const runtime::CApplication& application,
                            std::vector<runtime::TDiagnostic>* diagnostics) const {
  for (const plant::TPlantDoubt& doubt : plant::Doubts(application, connections.Connections())) {
    if (doubt.isWarning) diagnostics->push_back(application.At(doubt.offset, runtime::Translated(doubt.text)));
  }
}

bool CRunPlant::ReadOptions(std::string* error) {
  const plant::TConnections& all = connections.Connections();
  if (all.empty() && (options.plant || !options.losses.empty())) {
    *error = options.file + ": has no connections, which " + (options.plant ? "--plant" : "--lose") + " needs";
    return false;
  }
  if (replayed.record != nullptr) plantOptions.connected = replayed.record->Head().connected;
  if (options.plant && !plant::ReadPlantWords(all, *options.plant, &plantOptions, error)) {
    *error = "--plant: " + *error;
    return false;
  }
  for (const std::string& loss : options.losses) {
    if (plant::ReadLoss(all, loss, &plantOptions, error)) continue;
    *error = "--lose: " + *error;
    return false;
  }
  return true;
}

bool CRunPlant::Open(runtime::CApplication& application, TTold told, std::string* error) {
  if (connections.Connections().empty()) return true;
  const auto translated = [](std::function<void(const runtime::TRunTimeMessage&)> tell) {
    return [tell = std::move(tell)](runtime::TRunTimeMessage message) {
      message.text = runtime::Translated(message.text);
      tell(message);
    };
  };
  plantOptions.report = translated(std::move(told.report));
  plantOptions.note = translated(std::move(told.note));
  plantOptions.past = replayed.record;
  plantOptions.isRecorded = !options.record.empty() || replayed.record != nullptr;
  plantOptions.begun = [begun = std::move(told.begun)](const std::string& connection, std::uint64_t period,
                                                       const plant::TPlantOptions::TFound& found) {
    begun({connection, period, found});
  };
  plantOptions.interruptionAsked = InterruptionAsked;
  return application.AddLink(plant.emplace(connections.Connections(), plantOptions), error);
}

void CRunPlant::Finish() {
  if (plant && plant->Finish(&failure)) failure.clear();
}

std::string CRunPlant::LinksText() const {
  const auto links = plant ? plant->Summary() : std::vector<plant::CPlant::TLinkSummary>();
  if (links.empty()) return "";
  const auto milliseconds = [](double seconds) { return Quantity(1000.0 * seconds, "ms"); };
  CTable table;
  std::vector<std::string> heading = {"link", "polls", "missed", "round trip", "worst", "reconnections", "limited"};
  for (std::string& label : heading) label = runtime::Translated(std::move(label));
  table.Add(std::move(heading));
  for (const auto& [name, counts] : links) {
    table.Add({name, std::to_string(counts.polls), std::to_string(counts.missed), milliseconds(counts.roundTripMedian),
               milliseconds(counts.roundTripWorst), std::to_string(counts.reconnections),
               std::to_string(counts.limited)});
  }
  return runtime::Translated("links to the plant") + "\n" + table.Text();
}

}  // namespace workbench
