#include "panel/kept_panel.h"

#include <optional>
#include <utility>

#include "panel/server/archived.h"
#include "panel/server/kept_source.h"
#include "panel/server/server.h"

namespace panel {

namespace {

class CServedSource final : public CKeptPanel {
 public:
  explicit CServedSource(std::unique_ptr<CSource> theSource) : source(std::move(theSource)) {}
  ~CServedSource() override {
    server.reset();
    Close(serving.listening);
  }

  bool Start(std::string* error) {
    std::optional<TTokens> tokens = MakeTokens(error);
    if (!tokens) return false;
    std::optional<TListening> listening = Listen("", error);
    if (!listening) return false;
    serving.listening = *std::move(listening);
    serving.gate = MakeGate(serving.listening.addresses, serving.listening.port, false, {}, *tokens);
    link = "http://" + serving.listening.addresses[0] + ":" + std::to_string(serving.listening.port) +
           "/#see=" + tokens->see;
    server = CServer::Start(serving, *source, error);
    return server != nullptr;
  }
  std::string Link() const override { return link; }
  void Serve(double seconds) override { server->Serve(-1, seconds); }

 private:
  std::unique_ptr<CSource> source;
  TServing serving;
  std::string link;
  std::unique_ptr<CServer> server;
};

std::unique_ptr<CKeptPanel> Served(TModel model, std::unique_ptr<CHistory> history, std::string* error) {
  if (history == nullptr) return nullptr;
  auto served = std::make_unique<CServedSource>(std::make_unique<CKeptSource>(std::move(model), std::move(history)));
  if (!served->Start(error)) return nullptr;
  return served;
}

}  // namespace

std::unique_ptr<CKeptPanel> CKeptPanel::OfTrace(const TKeptTrace& trace, std::string* error) {
  TKeptColumns kept(trace.columns);
  const std::size_t width = trace.columns.size() + 1;
  const std::size_t count = trace.rows.size() / width;
  kept.model.application = trace.name;
  kept.model.from = trace.rows[0];
  kept.model.to = kept.model.duration = trace.rows[(count - 1) * width];
  kept.model.period = count > 1 ? (kept.model.to - kept.model.from) / static_cast<double>(count - 1) : kept.model.to;
  return Served(std::move(kept.model), CRows::Make(kept.items, trace.rows, error), error);
}

std::unique_ptr<CKeptPanel> CKeptPanel::OfArchive(const std::string& folder, std::string* error) {
  std::unique_ptr<CArchived> history = CArchived::Open(folder, error);
  if (history == nullptr) return nullptr;
  const archive::TRun& run = history->Run();
  std::vector<std::string> names;
  for (const archive::TChannel& channel : history->Channels()) names.push_back(channel.name);
  TModel model = TKeptColumns(names).model;
  for (const archive::TChannel& channel : history->Channels()) {
    for (TModel::TShown& shown : model.elements) {
      if (shown.name == channel.name) shown.unit = channel.unit;
    }
    for (TModel::TInstrument& instrument : model.instruments) {
      if (channel.name == instrument.name + ".value") instrument.unit = channel.unit;
      if (channel.name == instrument.name + ".output") instrument.outputUnit = channel.unit;
    }
  }
  model.application = run.application;
  model.period = run.period;
  model.from = static_cast<double>(run.first) * run.period;
  model.to = model.duration = static_cast<double>(run.last) * run.period;
  model.startWall = run.start;
  return Served(std::move(model), std::move(history), error);
}

std::unique_ptr<CHistory> FollowArchive(const std::string& folder, double start) {
  return CArchived::Follow(folder, start);
}

}  // namespace panel
