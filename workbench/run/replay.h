// A record, read to run it again.
#ifndef LOOPBOX_WORKBENCH_RUN_REPLAY_H
#define LOOPBOX_WORKBENCH_RUN_REPLAY_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plant/plant.h"
#include "processes/temporary_folder.h"
#include "runtime/data_link.h"
#include "runtime/runtime.h"
#include "runtime/trace.h"
#include "workbench/run/record_head.h"
#include "workbench/run/recorded_commands.h"

namespace workbench {

// What was latched stands in the rows, and takes the place of links and input.
class CReplay final : public plant::CPast {
 public:
  // Null with a message that names the file that is damaged.
  static std::unique_ptr<CReplay> Open(const std::string& folder, std::string* error);
  ~CReplay() override;

  const TRecordHead& Head() const { return head; }
  const std::string& Trace() const { return tracePath; }
  // Where the application reads its own and its parameter files: a folder that goes with
  // this, so that the record stays as it is.
  const std::string& Folder() const { return files->Path(); }
  std::string Text() const;         // the path of the application's
  std::string Connections() const;  // and of the one with its connections; empty: none

  // Goes on to the next row; false at the end, where a row that isn't whole doesn't
  // count, or where one is damaged, with a message.
  bool Next(std::string* error);
  std::uint64_t Period() const { return period; }  // of the row
  // What the run that replays is: its rows are compared. Before the first.
  void CompareWith(runtime::CApplication& application);
  // Of the row with the run's: empty where they are the same to the last byte, else the
  // first difference.
  std::string Difference();

  std::optional<TLatched> Latched(const std::string& input) const override;
  bool HasBegun(const std::string& connection, std::uint64_t by) const override;
  std::optional<double> Found(const std::string& output) const override;

  // An operator's commands, in the order in which they were done.
  const std::vector<TRecordedCommand>& Commands() const { return commands; }
  // In the place of what recorded data drove; null where nothing did.
  runtime::CDataLink* Input() { return input.get(); }

 private:
  class CRecordedInput;

  CReplay() = default;
  bool ReadHead(const std::string& folder, std::string* error);
  bool OpenTrace(std::string* error);
  bool ReadLine();
  std::string_view Cell(const std::string& column) const;

  TRecordHead head;
  std::vector<TRecordedCommand> commands;
  std::unique_ptr<processes::CTemporaryFolder> files;
  std::string tracePath;
  std::FILE* trace = nullptr;
  std::string line;                // of the trace, without its end
  std::uint64_t lineNumber = 0;    // from 1
  std::vector<std::string> names;  // of its columns
  std::map<std::string, std::size_t, std::less<>> columns;
  std::vector<std::string_view> cells;
  std::uint64_t period = 0;
  std::unique_ptr<runtime::CDataLink> input;
  // The rows of the run that replays.
  char* made = nullptr;
  std::size_t madeSize = 0;
  std::FILE* rows = nullptr;
  std::optional<runtime::CTrace> table;
};

}  // namespace workbench

#endif
