#include "panel/panel.h"

#include <time.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "runtime/runtime.h"

namespace panel {
namespace {

constexpr std::size_t kMostInPeriod = 256;  // commands; what is more comes in the next
constexpr char kRun[] = "run";              // who does what the run does by itself

double WallClock() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

EEntry EntryOf(EAlarmEvent event) {
  return event == EAlarmEvent::kCame       ? EEntry::kCame
         : event == EAlarmEvent::kReturned ? EEntry::kReturned
                                           : EEntry::kUnshelved;
}

}  // namespace

CPanel::CPanel(const TDefinition& theDefinition, const TParameterSets& theSets, TPanelOptions theOptions)
    : definition(theDefinition), sets(theSets), options(std::move(theOptions)) {
  taken.reserve(kMostInPeriod);
}

bool CPanel::Open(runtime::CApplication& opened, std::string*) {
  application = &opened;
  operators.emplace(definition, sets, opened);
  alarms.emplace(definition.alarms, options.site);
  Keep(Entry(EEntry::kStart, kRun, application->Name()));
  return true;
}

bool CPanel::BeforePeriod(double time, std::string*) {
  now = time;
  period = application->PeriodsDone() + 1;
  taken.clear();
  TCommand command;
  while (options.commands != nullptr && taken.size() < kMostInPeriod && options.commands->Take(period, &command)) {
    // Another process wrote it.
    if (command.deed > EDeed::kUnlatch) continue;
    command.who[kWhoLength - 1] = 0;
    TChange change;
    Do(command, &change);
    taken.push_back(command);
    TJournalRecord entry = Entry(EntryOf(command.deed), command.who, ThingOf(command));
    entry.isRefused = !change.isDone;
    entry.oldCount = change.isDone ? static_cast<std::uint32_t>(change.count) : 0;
    entry.newCount = std::min<std::uint32_t>(command.valueCount, kMostValues);
    std::copy_n(change.old, entry.oldCount, entry.old);
    std::copy_n(command.values, entry.newCount, entry.now);
    if (command.deed == EDeed::kTakeBack && change.isDone) {
      entry.newCount = entry.oldCount;
      std::copy_n(change.now, entry.newCount, entry.now);
    }
    SetText(entry.why, change.why);
    Keep(entry);
    if (options.answers == nullptr) continue;
    TAnswer answer{command.number, change.isDone, period, std::numeric_limits<double>::quiet_NaN(), {}};
    if (command.deed == EDeed::kSet && change.isDone) answer.old = change.old[0];
    SetText(answer.why, change.why);
    options.answers->Put(answer);
  }
  operators->Ramp(time);
  return true;
}

void CPanel::Do(const TCommand& command, TChange* change) {
  switch (command.deed) {
    case EDeed::kSet:
    case EDeed::kParameters:
    case EDeed::kTakeBack:
    case EDeed::kCall:
      return operators->Apply(command, change);
    case EDeed::kAcknowledge:
    case EDeed::kShelve:
    case EDeed::kUnshelve:
    case EDeed::kService:
      return DoToAlarm(command, change);
    case EDeed::kStop:
    case EDeed::kRelease:
    case EDeed::kUnlatch:
      return DoToPlant(command, change);
  }
  change->Refuse("this is no command");
}

void CPanel::DoToAlarm(const TCommand& command, TChange* change) {
  if (command.thing >= alarms->Count()) return change->Refuse("there is no such alarm");
  const bool hasValue = command.deed == EDeed::kShelve || command.deed == EDeed::kService;
  if (command.valueCount != (hasValue ? 1U : 0U)) return change->Refuse("a number too many, or too few");
  const char* const problem = command.deed == EDeed::kAcknowledge ? alarms->Acknowledge(command.thing)
                              : command.deed == EDeed::kShelve ? alarms->Shelve(command.thing, now, command.values[0])
                              : command.deed == EDeed::kUnshelve
                                  ? alarms->Unshelve(command.thing)
                                  : alarms->SetOutOfService(command.thing, command.values[0] != 0.0);
  if (problem != nullptr) return change->Refuse(problem);
  change->isDone = true;
}

void CPanel::DoToPlant(const TCommand& command, TChange* change) {
  if (options.site == nullptr) return change->Refuse("there is no plant");
  if (command.deed == EDeed::kStop) options.site->Stop();
  if (command.deed == EDeed::kRelease) options.site->Release();
  if (command.deed == EDeed::kUnlatch) options.site->Unlatch();
  change->isDone = true;
}

std::string_view CPanel::ThingOf(const TCommand& command) const {
  if (command.deed >= EDeed::kStop) return {};
  if (command.deed >= EDeed::kAcknowledge) {
    return command.thing < alarms->Count() ? std::string_view(alarms->Name(command.thing)) : std::string_view();
  }
  return command.thing < definition.operators.size() ? std::string_view(definition.operators[command.thing].name)
                                                     : std::string_view();
}

bool CPanel::AfterPeriod(double time, std::string*) {
  for (const CAlarms::TEvent& event : alarms->Evaluate(time)) {
    Keep(Entry(EntryOf(event.what), kRun, alarms->Name(event.alarm)));
  }
  if (options.journal == nullptr) return true;
  for (std::string message; options.journal->TakeMessage(&message);) options.report({time, "", message});
  return true;
}

void CPanel::Finish(EPhase phase) {
  if (application == nullptr) return;
  TJournalRecord entry = Entry(EEntry::kEnd, kRun, application->Name());
  SetText(entry.why, phase == EPhase::kEnded ? "" : phase == EPhase::kInterrupted ? "interrupted" : "failed");
  Keep(entry);
}

TJournalRecord CPanel::Entry(EEntry what, std::string_view who, std::string_view thing) const {
  TJournalRecord entry;
  entry.wall = WallClock();
  entry.time = now;
  entry.period = period;
  entry.what = what;
  SetText(entry.who, who);
  SetText(entry.thing, thing);
  return entry;
}

void CPanel::Keep(const TJournalRecord& entry) const {
  if (options.journal != nullptr) options.journal->Put(entry);
}

}  // namespace panel
