// What a run does about records: it keeps one, or follows an earlier one.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_RECORD_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_RECORD_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fmu/process.h"
#include "runtime/runtime.h"
#include "workbench/commands/one_run.h"
#include "workbench/commands/run_options.h"
#include "workbench/run/input_file.h"
#include "workbench/run/recorder.h"

namespace workbench {

class CRunRecord {
 public:
  // Both outlive it.
  CRunRecord(const TRunOptions& theOptions, const TReplayed& theReplayed)
      : options(theOptions), replayed(theReplayed) {}

  // Before anything changes the files that the run reads. The input is null where there
  // is none; the units are those of the process.
  bool Begin(const runtime::CApplication& application, const CInputFile* input,
             const std::vector<fmu::TUnitProcess>& units, const std::vector<std::string>& connected,
             const std::string& plugin, std::string* error);
  // When the links are there.
  bool Open(runtime::CApplication& application, std::string* error);
  void NoteBegun(const TRecordHead::TBegun& begun);
  void NoteLeftOut(std::uint64_t first, std::uint64_t last);
  // Of the period done last.
  void NoteCommand(const TRecordedCommand& command);
  // Goes to the next row of the record that is replayed. False where there is no
  // further one.
  bool Next();
  // Keeps the period done last, or compares it with the record. False when it is lost.
  bool KeepRow(const runtime::CApplication& application);
  bool End(std::uint64_t periods, std::string* error);
  // Of the run from the record that is replayed: the first.
  const std::string& Difference() const { return difference; }

 private:
  const TRunOptions& options;
  const TReplayed& replayed;
  std::optional<CRecorder> recorder;
  std::string failure;
  std::string difference;
};

}  // namespace workbench

#endif
