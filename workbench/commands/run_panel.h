// What a run does about operators, alarms and their journal.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_PANEL_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_PANEL_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "json/json.h"
#include "panel/panel.h"
#include "panel/panel_reader.h"
#include "panel/server/process.h"
#include "plant/plant.h"
#include "runtime/runtime.h"
#include "workbench/commands/one_run.h"
#include "workbench/commands/run_options.h"
#include "workbench/commands/run_record.h"
#include "workbench/references.h"
#include "workbench/run/plant_site.h"

namespace workbench {

// False where an operator's element is an input of a connection, with errors.
bool CheckOperators(const runtime::CApplication& application, const panel::TDefinition& definition,
                    const plant::TConnections& connections, std::vector<runtime::TDiagnostic>* diagnostics);

class CRunPanel {
 public:
  // Both outlive it.
  CRunPanel(const TRunOptions& theOptions, const TReplayed& theReplayed);
  ~CRunPanel();

  // The reader of the blocks.
  void AddTo(runtime::TReadOptions* reading, const TReferences& references);
  const panel::TDefinition& Definition() const { return reader->Definition(); }
  // Whether the run has operators, alarms and a journal.
  bool IsWanted() const {
    return Definition().isGiven || options.panel ||
           (replayed.record != nullptr && !replayed.record->Commands().empty());
  }
  // The file of the journal; empty: there is none.
  std::string JournalName(const runtime::CApplication& application) const;

  struct TTold {
    std::function<void(const runtime::TRunTimeMessage&)> report;  // what went wrong, translated
    std::function<void(const std::string&)> note;                 // translated
  };
  // Where it is wanted, when the plant is there. Plant and served panel are null where
  // there are none.
  bool Open(runtime::CApplication& application, plant::CPlant* plant, panel::CPanelProcess* served, bool isRealTime,
            const TTold& told, std::string* error);
  // What a page shows, once it is open. Site and journal may be null.
  const panel::CPanel& Link() const { return *link; }
  const panel::TParameterSets& Sets() const { return sets; }
  const panel::CSite* Site() const { return site ? &*site : nullptr; }
  panel::CJournal* Journal() { return journal.get(); }
  // After each period: what operators did goes into the record.
  void NoteCommands(const runtime::CApplication& application, CRunRecord& record) const;
  // At the end of the run.
  void Finish(panel::EPhase phase);
  // False with a message where the journal lacks something.
  bool End(std::string* error);

  std::string SummaryText() const;  // empty where there is nothing to tell
  void AddTo(json::CValue* summary) const;

 private:
  class CCommandsOfRecord;

  const TRunOptions& options;
  const TReplayed& replayed;
  panel::TParameterSets sets;
  std::optional<panel::CPanelReader> reader;
  std::optional<CPlantSite> site;
  std::unique_ptr<panel::CJournal> journal;
  std::unique_ptr<panel::CCommandSource> commands;  // null: none come
  std::optional<panel::CPanel> link;
  std::string failure;
};

}  // namespace workbench

#endif
