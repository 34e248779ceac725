// The loop's side of a panel: what operators do to a run and the alarms that it gives,
// with or without somebody who looks.
//
//   panel::CPanelReader reader(sets);                 // in TReadOptions::blocks
//   panel::CPanel panel(reader.Definition(), sets, options);
//   application->AddLink(panel, &error);
//   ... periods ...
//   panel.Finish(panel::EPhase::kEnded);
#ifndef LOOPBOX_PANEL_PANEL_H
#define LOOPBOX_PANEL_PANEL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "panel/alarms.h"
#include "panel/command.h"
#include "panel/definition.h"
#include "panel/frame.h"
#include "panel/journal.h"
#include "panel/operators.h"
#include "panel/site.h"
#include "runtime/data_link.h"

namespace panel {

// Where commands come from.
class CCommandSource {
 public:
  virtual ~CCommandSource() = default;
  // The next that is to be done in that period; false when there is none.
  virtual bool Take(std::uint64_t period, TCommand* command) = 0;
};

// Those of a panel's process: as soon as they are there.
class CCommandsOfPanel final : public CCommandSource {
 public:
  explicit CCommandsOfPanel(TCommandRing& theRing) : ring(theRing) {}
  bool Take(std::uint64_t, TCommand* command) override { return ring.Take(command); }

 private:
  TCommandRing& ring;
};

struct TPanelOptions {
  // All outlive the panel, and may be null.
  CCommandSource* commands = nullptr;
  TAnswerRing* answers = nullptr;
  CSite* site = nullptr;
  CJournal* journal = nullptr;
  // What went wrong with the journal.
  std::function<void(const runtime::TRunTimeMessage&)> report;
};

class CPanel final : public runtime::CDataLink {
 public:
  // They outlive it.
  CPanel(const TDefinition& theDefinition, const TParameterSets& theSets, TPanelOptions theOptions);

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kPanel; }
  const char* Name() const override { return "the panel"; }
  bool Open(runtime::CApplication& opened, std::string* error) override;
  // None: what an operator sets, a script may set too.
  const std::vector<runtime::TItem>& Written() const override { return written; }
  bool BeforePeriod(double time, std::string* error) override;
  bool AfterPeriod(double time, std::string* error) override;

  // At the end of the run, which is an entry of the journal.
  void Finish(EPhase phase);

  const CAlarms& Alarms() const { return *alarms; }
  const COperators& Operators() const { return *operators; }
  // What came in the period done last, refused or not.
  std::span<const TCommand> Taken() const { return taken; }
  // The name of what a command is about; empty for the whole plant.
  std::string_view ThingOf(const TCommand& command) const;

 private:
  void Do(const TCommand& command, TChange* change);
  void DoToAlarm(const TCommand& command, TChange* change);
  void DoToPlant(const TCommand& command, TChange* change);
  TJournalRecord Entry(EEntry what, std::string_view who, std::string_view thing) const;
  void Keep(const TJournalRecord& entry) const;

  const TDefinition& definition;
  const TParameterSets& sets;
  TPanelOptions options;
  runtime::CApplication* application = nullptr;
  std::optional<COperators> operators;
  std::optional<CAlarms> alarms;
  std::vector<runtime::TItem> written;
  std::vector<TCommand> taken;
  double now = 0.0;          // seconds of the run, of this period
  std::uint64_t period = 0;  // its number
};

}  // namespace panel

#endif
