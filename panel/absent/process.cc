// The panel of a run in a build that can't serve it.
#include "panel/server/process.h"

namespace panel {

struct CPanelProcess::TState {
  std::optional<TCommandRing> commands;
  std::optional<TAnswerRing> answers;
};

std::unique_ptr<CPanelProcess> CPanelProcess::Make(const TServerOptions&, std::string* error) {
  *error = "this build of the program has no panel: it lacks libmicrohttpd";
  return nullptr;
}

CPanelProcess::CPanelProcess(std::unique_ptr<TState> theState) : state(std::move(theState)) {}
CPanelProcess::~CPanelProcess() = default;
TLinks CPanelProcess::Links() const { return {}; }
TCommandRing& CPanelProcess::Commands() { return *state->commands; }
TAnswerRing& CPanelProcess::Answers() { return *state->answers; }
bool CPanelProcess::Start(CFrames&, const TModel&, CJournal*, const std::function<std::unique_ptr<CHistory>()>&,
                          std::string*) {
  return false;
}
void CPanelProcess::Show(EPhase) {}
void CPanelProcess::End(double, bool (*)()) {}

}  // namespace panel
