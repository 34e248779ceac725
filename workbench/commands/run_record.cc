#include "workbench/commands/run_record.h"

#include <algorithm>
#include <utility>

#include "hash/hash.h"
#include "workbench/text.h"
#include "workbench/version.h"

namespace workbench {

bool CRunRecord::Begin(const runtime::CApplication& application, const CInputFile* input,
                       const std::vector<fmu::TUnitProcess>& units, const std::vector<std::string>& connected,
                       const std::string& plugin, std::string* error) {
  if (options.record.empty()) return true;
  TRecordHead head;
  for (const fmu::TUnitProcess& unit : units) {
    if (!fmu::GoesAlong(unit, error)) return false;
    if (std::find(head.files.begin(), head.files.end(), unit.name) == head.files.end()) head.files.push_back(unit.name);
  }
  head.program = kProgramVersion;
  head.plugin = plugin;
  std::string unread;
  if (const auto hash = hash::Sha256OfFile(head.plugin, &unread)) head.pluginHash = hash::Hex(*hash);
  head.period = application.Period();
  head.duration = application.Duration();
  head.set = Assigned(options);
  head.seed = options.seed;
  head.connected = connected;
  head.losses = options.losses;
  if (input != nullptr) {
    const std::vector<runtime::TItem>& items = input->Written();
    const std::vector<std::string> names = input->Driven();
    for (std::size_t i = 0; i < items.size(); ++i) {
      head.input.emplace_back(names[i], application.ElementValue(items[i].element, items[i].item));
    }
  }
  return recorder.emplace().Begin(options.record, application, options.file, options.connections, std::move(head),
                                  error);
}

bool CRunRecord::Open(runtime::CApplication& application, std::string* error) {
  if (replayed.isCompared) replayed.record->CompareWith(application);
  return !recorder || recorder->OpenTrace(application, error);
}

void CRunRecord::NoteBegun(const TRecordHead::TBegun& begun) {
  std::string error;
  if (recorder && !recorder->NoteBegun(begun, &error)) failure = error;
}

void CRunRecord::NoteLeftOut(std::uint64_t first, std::uint64_t last) {
  if (recorder) recorder->NoteLeftOut(first, last);
}

void CRunRecord::NoteCommand(const TRecordedCommand& command) {
  if (recorder && failure.empty()) recorder->WriteCommand(command, &failure);
}

bool CRunRecord::Next() { return difference.empty() && replayed.record->Next(&failure); }

bool CRunRecord::KeepRow(const runtime::CApplication& application) {
  if (recorder && failure.empty() && !recorder->WriteRow(&failure)) return false;
  if (replayed.isCompared) {
    difference = replayed.record->Difference();
    if (!difference.empty()) difference = "t=" + Seconds(application.Time()) + " s: " + difference;
  }
  return failure.empty();
}

bool CRunRecord::End(std::uint64_t periods, std::string* error) {
  std::string lost;
  if (recorder && !recorder->End(periods, &lost) && failure.empty()) failure = lost;
  *error = failure;
  return failure.empty();
}

}  // namespace workbench
