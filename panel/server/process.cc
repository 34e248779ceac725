#include "panel/server/process.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>

#include "live/clock.h"
#include "live/keeper.h"
#include "live/shared_block.h"
#include "panel/server/live_source.h"
#include "panel/server/samples.h"
#include "panel/server/server.h"
#include "panel/server/sockets.h"
#include "panel/server/tokens.h"

namespace panel {
namespace {

constexpr double kAfterwards = 10.0;       // seconds: a run that died is shown for so long
constexpr double kBetweenWorkers = 0.2;    // seconds
constexpr double kForEnd = 2.0;            // seconds that a server takes to end, at most
constexpr std::size_t kMostPem = 1 << 20;  // bytes

bool ReadPem(const std::string& name, std::string* text, std::string* error) {
  std::ifstream file(name, std::ios::binary);
  text->assign(std::istreambuf_iterator<char>(file), {});
  if (file.is_open() && !file.bad() && text->size() <= kMostPem) return true;
  *error = name + ": can't be read";
  return false;
}

}  // namespace

struct CPanelProcess::TState {
  struct TControl {
    std::atomic<std::uint64_t> number{0};  // of the command put last
    std::atomic<bool> ends{false};         // at once
  };

  TServing serving;
  std::string linkHost;
  std::unique_ptr<live::CSharedBlock> block;
  TControl* control = nullptr;
  std::optional<TCommandRing> commands;
  std::optional<TAnswerRing> answers;
  std::unique_ptr<live::CSharedBlock> runBlock;  // frames and samples
  std::optional<CSamples> samples;
  CFrames* frames = nullptr;
  TModel model;
  CJournal* journal = nullptr;
  std::function<std::unique_ptr<CHistory>()> older;
  std::unique_ptr<live::CKeeper> keeper;

  int Work(int loop);
};

// In the process of its own.
int CPanelProcess::TState::Work(int loop) {
  const std::unique_ptr<CHistory> kept = older ? older() : nullptr;
  CLiveSource source(*frames, model,
                     {*commands, *answers, control->number, *samples,
                      journal == nullptr ? nullptr : &journal->OfPanel(), journal == nullptr ? "" : journal->Path()},
                     kept.get());
  std::string error;
  const std::unique_ptr<CServer> server = CServer::Start(serving, source, &error);
  if (server == nullptr) return 1;
  while (server->Serve(loop, kAfterwards)) {
  }
  source.LoseLoop();
  const double until = live::Now() + kAfterwards;
  while (!control->ends.load() && live::Now() < until) server->Serve(-1, 0.1);
  return 0;
}

std::unique_ptr<CPanelProcess> CPanelProcess::Make(const TServerOptions& options, std::string* error) {
  auto state = std::make_unique<TState>();
  TServing& serving = state->serving;
  if (!options.certificate.empty()) {
    TCertificate& certificate = serving.certificate.emplace();
    if (!ReadPem(options.certificate, &certificate.certificate, error) ||
        !ReadPem(options.key, &certificate.key, error) || !CServer::Check(certificate, error)) {
      return nullptr;
    }
  } else if (!options.address.empty() && !IsLoopback(options.address)) {
    *error = "another address than this machine's own needs --panel-tls";
    return nullptr;
  }
  for (const std::string& host : options.hosts) {
    if (IsHost(host)) continue;
    *error = host + " is no NAME or NAME:PORT";
    return nullptr;
  }
  const std::optional<TTokens> tokens = MakeTokens(error);
  if (!tokens) return nullptr;
  std::optional<TListening> listening = Listen(options.address, error);
  if (!listening) return nullptr;
  serving.listening = *std::move(listening);
  const auto& [descriptors, addresses, port] = serving.listening;
  serving.gate = MakeGate(addresses, port, serving.certificate.has_value(), options.hosts, *tokens);
  // A certificate is of a name.
  state->linkHost = serving.gate.hosts.front().host;
  if (!options.hosts.empty() && (serving.certificate || addresses.empty())) {
    const std::string& name = options.hosts.front();
    const bool hasPort = name.rfind(':') != std::string::npos && name.back() != ']';
    state->linkHost = hasPort ? name : name + ":" + std::to_string(port);
  }
  state->block = live::CSharedBlock::Make(
      live::PlaceBytes(sizeof(TState::TControl)) + TCommandRing::Bytes() + TAnswerRing::Bytes(), error);
  if (state->block == nullptr) {
    Close(serving.listening);
    return nullptr;
  }
  state->control = state->block->Place<TState::TControl>();
  state->commands.emplace(*state->block);
  state->answers.emplace(*state->block);
  return std::unique_ptr<CPanelProcess>(new CPanelProcess(std::move(state)));
}

CPanelProcess::CPanelProcess(std::unique_ptr<TState> theState) : state(std::move(theState)) {}

CPanelProcess::~CPanelProcess() {
  End(0.0, [] { return true; });
  Close(state->serving.listening);
}

TLinks CPanelProcess::Links() const {
  const TServing& serving = state->serving;
  const std::string page = (serving.certificate ? "https://" : "http://") + state->linkHost + "/";
  return {page + "#see=" + serving.gate.tokens.see, page + "#operate=" + serving.gate.tokens.operate};
}

TCommandRing& CPanelProcess::Commands() { return *state->commands; }
TAnswerRing& CPanelProcess::Answers() { return *state->answers; }

bool CPanelProcess::Start(CFrames& frames, const TModel& model, CJournal* journal,
                          const std::function<std::unique_ptr<CHistory>()>& older, std::string* error) {
  const std::size_t columns = frames.Layout().Trends().size();
  const std::size_t capacity = CSamples::CapacityFor(columns);
  state->runBlock = live::CSharedBlock::Make(frames.Bytes() + CSamples::Bytes(columns, capacity), error);
  if (state->runBlock == nullptr) return false;
  frames.Place(*state->runBlock);
  state->samples.emplace(*state->runBlock, columns, capacity);
  state->frames = &frames;
  state->model = model;
  state->journal = journal;
  state->older = older;
  live::TKeeping keeping;
  keeping.name = "panel";
  keeping.work = keeping.again = [this](int loop) { return state->Work(loop); };
  keeping.times = -1;
  keeping.pause = kBetweenWorkers;
  keeping.descriptors = state->serving.listening.descriptors;
  state->keeper = live::CKeeper::Start(keeping, error);
  return state->keeper != nullptr;
}

void CPanelProcess::Show(EPhase phase) {
  const double now = live::Now();
  if (phase == EPhase::kRunning && !state->frames->IsDue(now)) return;
  if (state->journal != nullptr) state->frames->SetJournal(state->journal->Lines());
  state->frames->Write(phase, now);
}

void CPanelProcess::End(double seconds, bool (*isEnough)()) {
  if (state->keeper == nullptr) return;
  const double until = live::Now() + seconds;
  while (live::Now() < until && !isEnough()) usleep(20'000);
  state->control->ends.store(true);
  state->keeper->End(kForEnd);
  state->keeper.reset();
}

}  // namespace panel
