// What a run does about the archive that keeps its history.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_ARCHIVE_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_ARCHIVE_H

#include <functional>
#include <memory>
#include <string>

#include "archive/archiver.h"
#include "runtime/runtime.h"
#include "workbench/commands/run_options.h"

namespace workbench {

class CRunArchive {
 public:
  // Where one is asked for: when the links are there. `plant` has columns of qualities;
  // null where there is none.
  bool Open(const TRunOptions& options, runtime::CApplication& application, const runtime::CDataLink* plant,
            bool isRealTime, std::function<void(const runtime::TRunTimeMessage&)> report, std::string* error);
  // After each period.
  void Keep() {
    if (archiver != nullptr) archiver->Observe();
  }
  bool End(std::string* error) { return archiver == nullptr || archiver->Finish(error); }

 private:
  std::unique_ptr<archive::CArchiver> archiver;
};

}  // namespace workbench

#endif
