// Keeps all that a run depended on, in a folder from which it can be run again:
//
//   record.json   what was asked for (record_head.h); written anew whole
//   text/         the application's text, and what it includes
//   files/        parameter files, as they were at the start, and units of the process
//   trace.csv     a row each period; the columns NAME.age and NAME.input besides
//   commands.csv  an operator's commands, with their periods
//
// It is whole at any moment: a killed run loses the rows of its last second.
#ifndef LOOPBOX_WORKBENCH_RUN_RECORDER_H
#define LOOPBOX_WORKBENCH_RUN_RECORDER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/runtime.h"
#include "workbench/run/record_head.h"
#include "workbench/run/recorded_commands.h"
#include "workbench/run/trace_file.h"

namespace workbench {

class CRecorder {
 public:
  // Makes the folder, which must not exist or be empty, and copies texts and files
  // into it; `text` is the application's path, `connections` the one whose blocks take
  // the place of its own, if any. `head.files` names units, from the application's folder
  // on. Before the first period. False with a message.
  bool Begin(const std::string& folder, const runtime::CApplication& application, const std::string& text,
             const std::string& connections, TRecordHead head, std::string* error);
  // When the links are there: the rows' columns are known.
  bool OpenTrace(runtime::CApplication& application, std::string* error);
  // Outputs of a connection are written from a period on.
  bool NoteBegun(TRecordHead::TBegun begun, std::string* error);
  // The periods from first to last were left out.
  void NoteLeftOut(std::uint64_t first, std::uint64_t last) { head.leftOut.emplace_back(first, last); }
  // Before the row of their period. False when one was lost.
  bool WriteCommand(const TRecordedCommand& command, std::string* error);
  // After each period. False when a row was lost.
  bool WriteRow(std::string* error);
  // After so many periods.
  bool End(std::uint64_t periods, std::string* error);

 private:
  bool Copy(const std::string& from, const std::string& folder, const std::string& name, std::string* error);
  bool WriteHead(std::string* error) const;

  std::string place;
  TRecordHead head;
  CTraceFile trace;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> commands{nullptr, std::fclose};
  double flushedAt = 0.0;  // seconds of a steady clock
};

}  // namespace workbench

#endif
