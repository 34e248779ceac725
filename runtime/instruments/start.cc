#include "runtime/instruments/start.h"

#include <cstring>

#include "runtime/instruments/application_state.h"

namespace runtime {

void CStart::Keep() {
  changes = log.Changes();
  values = application.data.Values();
  remembered = application.expressions.Remembered();
  for (const TInstrumentState& instrument : application.instruments) {
    const hx_vinst::THostPart& host = *instrument.object->host;
    TInstrument& kept = instruments.emplace_back(TInstrument{host, std::nullopt});
    if (host.output != nullptr) kept.output = host.output->State();
  }
  for (const CBlockLog::TGivenBlock& block : log.Blocks()) {
    const auto* const first = static_cast<const std::byte*>(block.start);
    blocks.insert(blocks.end(), first, first + block.size);
  }
  blinking = application.blinking;
  unseen = application.unseen;
}

// What a script holds in Lua, and what stands behind a link, can't be brought back.
bool CStart::Restore() {
  if (application.script != nullptr || !application.links.empty() || log.Changes() != changes) return false;
  application.data.SetValues(values);
  application.expressions.SetRemembered(remembered);
  for (std::size_t i = 0; i < instruments.size(); ++i) {
    TInstrumentState& instrument = application.instruments[i];
    instrument.activatedIn = 0;
    hx_vinst::THostPart& host = *instrument.object->host;
    static_cast<hx_vinst::THostState&>(host) = instruments[i].host;
    if (host.output != nullptr) host.output->SetState(*instruments[i].output);
  }
  const std::byte* next = blocks.data();
  for (const CBlockLog::TGivenBlock& block : log.Blocks()) {
    std::memcpy(block.start, next, block.size);
    next += block.size;
  }
  application.blinking = blinking;
  application.unseen = unseen;
  application.sink = nullptr;
  application.ctx.evaluated = {};
  application.activated.clear();
  application.periodsDone = 0;
  application.leftOut = 0;
  application.clock = 0;
  application.ended = false;
  return true;
}

}  // namespace runtime
