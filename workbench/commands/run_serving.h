// What a run does about the page that shows it.
#ifndef LOOPBOX_WORKBENCH_COMMANDS_RUN_SERVING_H
#define LOOPBOX_WORKBENCH_COMMANDS_RUN_SERVING_H

#include <memory>
#include <optional>
#include <string>

#include "panel/frame.h"
#include "panel/frames.h"
#include "panel/server/process.h"
#include "runtime/runtime.h"
#include "workbench/commands/run_options.h"
#include "workbench/commands/run_panel.h"
#include "workbench/references.h"

namespace workbench {

class CRunServing {
 public:
  // They outlive it.
  explicit CRunServing(const TRunOptions& theOptions) : options(theOptions) {}

  // What the options say of each other. False with a message.
  bool CheckOptions(std::string* error) const;
  // Listens, where --panel asks for it. False with a message.
  bool Prepare(std::string* error);
  // Null without --panel.
  panel::CPanelProcess* Process() { return process.get(); }

  // Before the first period and any thread. Nothing without --panel.
  bool Start(runtime::CApplication& application, const TReferences& references, CRunPanel& panel, bool isDry,
             std::string* error);
  // The lines that say where the page is; empty without --panel.
  std::string LinksText() const;
  // After each period, and in another phase than running.
  void Show(panel::EPhase phase) {
    if (process) process->Show(phase);
  }
  // The page stays for a while with the last state.
  void End();

 private:
  const TRunOptions& options;
  std::optional<panel::CFrames> frames;
  std::unique_ptr<panel::CPanelProcess> process;  // on the frames
  double prepared = 0.0;                          // seconds of the epoch
};

}  // namespace workbench

#endif
