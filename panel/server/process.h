// The process that serves the panel of a run, and what keeps it: when it dies it is
// made again, with the same links, and the run goes on.
//
//   auto process = panel::CPanelProcess::Make(options, &error);    // it listens
//   … a CPanel takes commands from process->Commands() …
//   process->Start(frames, model, journal, &error);                // before any thread
//   process->Show(panel::EPhase::kRunning);                        // after each period
//   process->Show(panel::EPhase::kEnded);
//   process->End(10.0, InterruptionAsked);
#ifndef LOOPBOX_PANEL_SERVER_PROCESS_H
#define LOOPBOX_PANEL_SERVER_PROCESS_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "panel/command.h"
#include "panel/frame.h"
#include "panel/frames.h"
#include "panel/journal.h"
#include "panel/model.h"
#include "panel/server/source.h"

namespace panel {

struct TServerOptions {
  std::string address;             // of numbers; empty: of this machine alone
  std::string certificate;         // files in PEM; both empty: plain HTTP
  std::string key;                 //
  std::vector<std::string> hosts;  // NAME or NAME:PORT
};

struct TLinks {
  std::string see;
  std::string operate;
};

class CPanelProcess {
 public:
  // Listens, and makes the tokens. Null with a message.
  static std::unique_ptr<CPanelProcess> Make(const TServerOptions& options, std::string* error);
  // Ends it at once.
  ~CPanelProcess();
  CPanelProcess(const CPanelProcess&) = delete;
  CPanelProcess& operator=(const CPanelProcess&) = delete;

  TLinks Links() const;
  TCommandRing& Commands();
  TAnswerRing& Answers();

  // Starts it: before any thread and any priority. `frames` outlives it; there may be no
  // journal. `older` yields what is kept of the run elsewhere, in the process itself; it
  // may yield null. False with a message.
  bool Start(CFrames& frames, const TModel& model, CJournal* journal,
             const std::function<std::unique_ptr<CHistory>()>& older, std::string* error);
  // Between two periods: fills a frame where one is due; in another phase than running in
  // any case. Doesn't wait or allocate.
  void Show(EPhase phase);
  // After the run: serves its last frame for so many seconds or until `isEnough`, and
  // ends.
  void End(double seconds, bool (*isEnough)());

 private:
  struct TState;
  explicit CPanelProcess(std::unique_ptr<TState> theState);
  std::unique_ptr<TState> state;
};

}  // namespace panel

#endif
