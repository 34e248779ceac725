// The application and the loop that `tune` and `margins` are about.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_TUNED_APPLICATION_H
#define LOOPBOX_WORKBENCH_COMMANDS_TUNED_APPLICATION_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plant/plant.h"
#include "runtime/runtime.h"
#include "workbench/commands/command.h"
#include "workbench/exit_status.h"
#include "workbench/faults.h"
#include "workbench/references.h"
#include "workbench/run/loop_record.h"
#include "workbench/run/tuned_loop.h"

namespace workbench {

struct TTunedOptions {
  std::string file;
  std::string instrument;
  std::vector<std::string> assignments;
  std::uint64_t seed = 1;
  std::vector<std::string> from;  // records
  std::vector<std::string> maps;
};

// FILE, INSTRUMENT, --from and --map; the help of --from says what records are for.
std::vector<TOption> TunedOptions(TTunedOptions& options, const std::string& fromHelp);

class CTunedApplication {
 public:
  CTunedApplication(const TTunedOptions& theOptions, const TCommonOptions& theCommon);

  // kDone, or the status of what is wrong, which is printed.
  EExitStatus Read();
  // Of all of them. False with a message.
  bool ReadRecords(std::vector<TLoopRecord>* records, std::string* error) const;
  // Nothing that is written may replace what was read.
  bool Spares(const std::string& what, const std::string& name, std::string* error) const;

  // Of the application, for who reads it once more.
  const runtime::TReadOptions& Reading() const { return reading; }
  runtime::CPlugin& Plugin() const { return *plugin; }
  const TReferences& References() const { return references; }
  runtime::CApplication& Application() const { return *application; }
  const TTunedLoop& Loop() const { return *loop; }
  std::size_t Index() const { return index; }  // of the instrument
  std::size_t RegulatorCount() const;

 private:
  const TTunedOptions& options;
  const TCommonOptions& common;
  const CCrashNotice notice;
  runtime::TReadOptions reading;
  std::unique_ptr<runtime::CPlugin> plugin;
  TReferences references;
  std::unique_ptr<runtime::CApplication> application;
  std::optional<TTunedLoop> loop;
  std::size_t index = 0;
};

}  // namespace workbench

#endif
