#include "workbench/commands/run_panel.h"

#include <algorithm>
#include <utility>

#include "workbench/text.h"

namespace workbench {

bool CheckOperators(const runtime::CApplication& application, const panel::TDefinition& definition,
                    const plant::TConnections& connections, std::vector<runtime::TDiagnostic>* diagnostics) {
  bool isRight = true;
  for (const panel::TOperator& one : definition.operators) {
    for (const plant::TConnection& connection : connections) {
      const bool isInput = one.kind == panel::TOperator::kElement &&
                           std::any_of(connection.inputs.begin(), connection.inputs.end(),
                                       [&](const plant::TInput& input) { return input.item == one.item; });
      if (!isInput) continue;
      isRight = false;
      const std::string text = "'" + one.name + "' is an input of " + connection.name + ": no operator can set it";
      diagnostics->push_back(application.At(one.offset, runtime::Translated(text)));
    }
  }
  return isRight;
}

// The commands of a record, in their periods.
class CRunPanel::CCommandsOfRecord final : public panel::CCommandSource {
 public:
  CCommandsOfRecord(const std::vector<TRecordedCommand>& theCommands, const CRunPanel& theRun)
      : commands(theCommands), run(theRun) {}

  // What another text doesn't have is passed over.
  bool Take(std::uint64_t period, panel::TCommand* command) override {
    while (next < commands.size() && commands[next].period <= period) {
      const TRecordedCommand& recorded = commands[next++];
      *command = recorded.command;
      if (recorded.period == period && Find(recorded, &command->thing)) return true;
    }
    return false;
  }

 private:
  bool Find(const TRecordedCommand& recorded, std::uint32_t* thing) const {
    if (recorded.command.deed >= panel::EDeed::kStop) return true;
    const bool isAlarms = recorded.command.deed >= panel::EDeed::kAcknowledge;
    const panel::CAlarms& alarms = run.link->Alarms();
    const std::vector<panel::TOperator>& operators = run.Definition().operators;
    const std::size_t count = isAlarms ? alarms.Count() : operators.size();
    for (std::size_t i = 0; i < count; ++i) {
      if ((isAlarms ? alarms.Name(i) : operators[i].name) != recorded.target) continue;
      *thing = static_cast<std::uint32_t>(i);
      return true;
    }
    return false;
  }

  const std::vector<TRecordedCommand>& commands;
  const CRunPanel& run;
  std::size_t next = 0;
};

CRunPanel::CRunPanel(const TRunOptions& theOptions, const TReplayed& theReplayed)
    : options(theOptions), replayed(theReplayed) {}
CRunPanel::~CRunPanel() = default;

void CRunPanel::AddTo(runtime::TReadOptions* reading, const TReferences& references) {
  sets = ParameterSetsOf(references);
  reading->blocks.push_back(&reader.emplace(sets));
}

std::string CRunPanel::JournalName(const runtime::CApplication& application) const {
  if (!IsWanted() || replayed.record != nullptr) return {};
  if (!options.journal.empty()) return options.journal;
  return (application.Name().empty() ? "loopbox" : application.Name()) + ".journal";
}

bool CRunPanel::Open(runtime::CApplication& application, plant::CPlant* plant, panel::CPanelProcess* served,
                     bool isRealTime, const TTold& told, std::string* error) {
  if (!IsWanted()) return true;
  panel::TPanelOptions wanted;
  if (plant != nullptr) wanted.site = &site.emplace(*plant);
  if (const std::string name = JournalName(application); !name.empty()) {
    journal = panel::CJournal::Open(name, !isRealTime, error);
    if (journal == nullptr) return false;
    if (journal->TornBytes() > 0) {
      told.note(runtime::Translated(name + ": the last line of the journal wasn't whole, and was cut off"));
    }
  }
  wanted.journal = journal.get();
  if (replayed.record != nullptr) {
    commands = std::make_unique<CCommandsOfRecord>(replayed.record->Commands(), *this);
  } else if (served != nullptr) {
    commands = std::make_unique<panel::CCommandsOfPanel>(served->Commands());
    wanted.answers = &served->Answers();
  }
  wanted.commands = commands.get();
  wanted.report = [report = told.report](runtime::TRunTimeMessage message) {
    message.text = runtime::Translated(message.text);
    report(message);
  };
  return application.AddLink(link.emplace(Definition(), sets, std::move(wanted)), error);
}

void CRunPanel::NoteCommands(const runtime::CApplication& application, CRunRecord& record) const {
  if (!link) return;
  for (const panel::TCommand& command : link->Taken()) {
    record.NoteCommand({application.PeriodsDone(), std::string(link->ThingOf(command)), command});
  }
}

void CRunPanel::Finish(panel::EPhase phase) {
  if (!link) return;
  link->Finish(phase);
  if (journal && journal->Finish(&failure)) failure.clear();
}

bool CRunPanel::End(std::string* error) {
  *error = failure;
  return failure.empty();
}

std::string CRunPanel::SummaryText() const {
  if (!link) return {};
  std::string text;
  const panel::CAlarms& alarms = link->Alarms();
  CTable table;
  bool isAny = false;
  std::vector<std::string> heading = {"alarm", "priority", "came", "last at", "now"};
  for (std::string& label : heading) label = runtime::Translated(std::move(label));
  table.Add(std::move(heading));
  for (std::size_t i = 0; i < alarms.Count(); ++i) {
    const panel::TAlarmState& state = alarms.State(i);
    if (state.count == 0) continue;
    isAny = true;
    std::string now = state.isActive ? "active" : "returned";
    if (!state.isAcknowledged) now += ", not acknowledged";
    table.Add({alarms.Name(i), panel::NameOf(alarms.Priority(i)), std::to_string(state.count),
               Seconds(state.since) + " s", runtime::Translated(now)});
  }
  if (isAny) text = runtime::Translated("alarms") + "\n" + table.Text();
  if (journal) {
    text += runtime::Translated(journal->Path() + ": " + Count(journal->Lines(), "line") + ", the last with the hash " +
                                journal->LastHash()) +
            "\n";
  }
  return text;
}

void CRunPanel::AddTo(json::CValue* summary) const {
  if (!link) return;
  json::CValue counts = json::CValue::Object();
  const panel::CAlarms& alarms = link->Alarms();
  for (std::size_t i = 0; i < alarms.Count(); ++i) {
    const panel::TAlarmState& state = alarms.State(i);
    counts.Add(alarms.Name(i), {{"priority", panel::NameOf(alarms.Priority(i))},
                                {"count", state.count},
                                {"active", state.isActive},
                                {"acknowledged", state.isAcknowledged},
                                {"out_of_service", state.isOutOfService}});
  }
  summary->Set("alarms", std::move(counts));
  if (!journal) return;
  summary->Set("journal", {{"file", journal->Path()}, {"lines", journal->Lines()}, {"last", journal->LastHash()}});
}

}  // namespace workbench
