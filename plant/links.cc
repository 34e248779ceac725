#include "plant/links.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "live/clock.h"
#include "live/keeper.h"
#include "plant/links_process.h"
#include "plant/mqtt/secret.h"
#include "plant/resolve.h"
#include "plant/share.h"

namespace plant {

struct CLinks::TState {
  TLinksProcess process;  // what it knows, too
  std::unique_ptr<live::CSharedBlock> block;
  std::unique_ptr<live::CKeeper> keeper;
  std::vector<TReading> readings;
  std::vector<TWanted> wanted;
  bool wasDeathTold = false;
  bool isFinished = false;
  std::string failure;  // of the end
};

namespace {

// NaN is equal to itself here.
bool IsSame(const TWanted& a, const TWanted& b) {
  return (a.value == b.value || (std::isnan(a.value) && std::isnan(b.value))) && a.quality == b.quality;
}

}  // namespace

std::unique_ptr<CLinks> CLinks::Start(const TConnections& connections, double period, bool dry, std::string* error) {
  auto made = std::make_unique<TState>();
  TState& state = *made;
  TLinksProcess& process = state.process;
  process.connections = connections;
  process.period = period;
  process.isDry = dry;
  std::size_t bytes = live::PlaceBytes(sizeof(TBeat));
  for (TConnection& connection : process.connections) {
    if (!Resolve(&connection, error)) return nullptr;
    TSecret secret;
    if (!connection.secretFile.empty() && !ReadSecret(connection.secretFile, &secret, error)) return nullptr;
    process.secrets.push_back(std::move(secret));
    bytes += CShare::Bytes(connection);
  }
  state.block = live::CSharedBlock::Make(bytes, error);
  if (state.block == nullptr) return nullptr;
  process.beat = state.block->Place<TBeat>();
  live::TKeeping keeping;
  keeping.name = "plant";
  for (const TConnection& connection : process.connections) {
    process.shares.emplace_back(*state.block, connection);
    state.readings.resize(state.readings.size() + connection.inputs.size());
    state.wanted.resize(state.wanted.size() + connection.outputs.size());
  }
  keeping.work = [&process](int loop) { return KeepLinks(process, loop); };
  keeping.again = [&process](int) { return OnlyMakeSafe(process); };
  keeping.times = dry ? 0 : 1;
  keeping.alone = true;
  state.keeper = live::CKeeper::Start(keeping, error);
  if (state.keeper == nullptr) return nullptr;
  return std::unique_ptr<CLinks>(new CLinks(std::move(made)));
}

CLinks::CLinks(std::unique_ptr<TState> theState) : state(std::move(theState)) {}

CLinks::~CLinks() {
  std::string error;
  Finish(&error);
}

const std::vector<TReading>& CLinks::Read() {
  auto next = state->readings.begin();
  for (CShare& share : state->process.shares) {
    const std::span<const TReading> table = share.readings.Take();
    next = std::copy(table.begin(), table.end(), next);
  }
  if (!IsAlive()) {
    for (TReading& reading : state->readings) reading.quality = EQuality::kLost;
  }
  return state->readings;
}

bool CLinks::IsReady() const {
  const auto& shares = state->process.shares;
  return std::all_of(shares.begin(), shares.end(), [](const CShare& share) { return share.state->isReady.load(); });
}

bool CLinks::IsReady(std::size_t connection) const { return state->process.shares[connection].state->isReady.load(); }

std::optional<double> CLinks::ReadBack(std::size_t output) const {
  for (std::size_t i = 0; i < state->process.shares.size(); ++i) {
    const std::size_t count = state->process.connections[i].outputs.size();
    const CShare& share = state->process.shares[i];
    if (output < count) {
      if (!share.state->isReady.load() || std::isnan(share.readBack[output])) return std::nullopt;
      return share.readBack[output];
    }
    output -= count;
  }
  return std::nullopt;
}

void CLinks::Beat() { state->process.beat->last.store(live::Now()); }

void CLinks::Write(const std::vector<TWanted>& values) {
  std::size_t first = 0;
  for (std::size_t i = 0; i < state->process.shares.size(); ++i) {
    const std::size_t count = state->process.connections[i].outputs.size();
    TWanted* const wanted = state->wanted.data() + first;
    const std::span<const TWanted> table(values.data() + first, count);
    first += count;
    if (std::equal(table.begin(), table.end(), wanted, IsSame)) continue;
    std::copy(table.begin(), table.end(), wanted);
    state->process.shares[i].outputs.Write(table);
  }
}

bool CLinks::TakeMessage(std::string* message) {
  TMessage taken;
  for (CShare& share : state->process.shares) {
    if (!share.messages.Take(&taken)) continue;
    *message = taken.text;
    return true;
  }
  if (state->wasDeathTold || IsAlive()) return false;
  state->wasDeathTold = true;
  *message = state->keeper->Deaths() > 0
                 ? "the links' process has died: " + HowEnded(state->keeper->HowLast())
                 : std::string("the links' process has ended: ") + state->process.beat->why.text;
  return true;
}

bool CLinks::IsAlive() const { return !state->isFinished && state->keeper->Deaths() == 0 && state->keeper->IsAlive(); }

TLinkCounts CLinks::CountsOf(std::size_t connection) const {
  const TLinkState& counted = *state->process.shares[connection].state;
  return {counted.polls.load(),   counted.missed.load(),          counted.reconnections.load(),
          counted.limited.load(), counted.roundTripMedian.load(), counted.roundTripWorst.load()};
}

bool CLinks::Finish(std::string* error) {
  if (!state->isFinished) {
    TLinksProcess& process = state->process;
    process.beat->isFinishing.store(true);
    // A second process has as long as the first.
    const bool hasEnded = state->keeper->End(2.0 * EndBound(process));
    state->isFinished = true;
    for (std::size_t i = 0; !process.isDry && i < process.shares.size(); ++i) {
      const TLinkState& link = *process.shares[i].state;
      if (!HasSafe(process.connections[i]) || link.safe.load() == ESafe::kWritten) continue;
      if (!state->failure.empty()) state->failure += "; ";
      state->failure += process.connections[i].name + ": safe values could not be written";
      if (link.safe.load() == ESafe::kFailed) state->failure += std::string(": ") + link.whyNotSafe.text;
    }
    if (!hasEnded && state->failure.empty()) state->failure = "the links' process doesn't end";
  }
  *error = state->failure;
  return state->failure.empty();
}

}  // namespace plant
