// Running an application, period by period.
#include <cmath>

#include "runtime/instruments/application_state.h"
#include "runtime/platform/clock.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

// From so many instruments on, which no nearby cache holds, memory is asked for
// before their turn.
constexpr std::size_t kManyInstruments = 256;
constexpr std::size_t kInstrumentsAhead = 6;

// Whole milliseconds from the start to the k-th period.
std::uint64_t ClockAt(std::uint64_t k, double period) {
  return static_cast<std::uint64_t>(std::round(1000.0 * static_cast<double>(k) * period));
}

void Blink(TApplicationState& application, std::uint64_t milliseconds) {
  for (hx_vinst::CInstrument* instrument : application.blinking) {
    hx_vinst::THostPart& host = *instrument->host;
    const std::uint8_t phase = host.blinkRate == 0 ? 0 : (milliseconds / host.blinkRate) % 2;
    if (phase == host.blinkPhase) continue;
    host.blinkPhase = phase;
    instrument->Blink(phase);
  }
}

void NoteOutputsBefore(TApplicationState& application) {
  for (const TInstrumentState& instrument : application.instruments) {
    COutputHost* const output = instrument.object->host->output.get();
    if (output != nullptr) output->NoteOutputBefore();
  }
}

// All links, whichever fails; the first failure tells why.
void AskLinks(TApplicationState& application, double time, bool (CDataLink::*operation)(double, std::string*)) {
  for (CDataLink* link : application.links) {
    if (application.linkError.empty()) {
      if ((link->*operation)(time, &application.linkError)) application.linkError.clear();
    } else {
      std::string further;
      (link->*operation)(time, &further);
    }
  }
}

}  // namespace

void RunPeriod(TApplicationState& application) {
  const std::uint64_t k = application.periodsDone + 1;
  const double from = application.expressions.Time();
  const double to = static_cast<double>(k) * application.period;
  if (k == 1) NoteOutputsBefore(application);
  const std::uint64_t clock = ClockAt(k, application.period);
  application.clock = static_cast<std::uint32_t>(clock % vcore::kMillisecondsPerDay);
  SetClock(application.clock);
  for (CDataLink* link : application.links) link->BeforeProcess(to);
  application.process.Advance(from, to, 1 + application.leftOut);
  const bool wereLeftOut = application.leftOut > 0;
  application.leftOut = 0;
  AskLinks(application, to, &CDataLink::BeforePeriod);
  // A failure isn't kept waiting by a script.
  if (application.script != nullptr && application.linkError.empty()) application.script->RunDue(to, wereLeftOut);
  const TTimed* const end = application.timed.data() + application.timed.size();
  const TTimed* const asking =
      application.timed.size() >= kManyInstruments ? end - kInstrumentsAhead : application.timed.data();
  for (const TTimed* next = application.timed.data(); next != end; ++next) {
    if (next < asking) next[kInstrumentsAhead].AskForMemory();
    ActIn(k, *next->object, hx_vinst::kActionTimer);
  }
  // Receivers may activate further ones, which join the end of the row.
  for (std::size_t i = 0; i < application.activated.size(); ++i) {
    const TInstrumentState& receiver = application.instruments[application.activated[i]];
    // Of one that has acted already, this Action counts.
    if (receiver.timed) receiver.object->host->wishCut = receiver.object->host->valueCut = {};
    ActIn(k, *receiver.object, hx_vinst::kActionReceiver);
  }
  application.activated.clear();
  Blink(application, clock);
  application.periodsDone = k;
  AskLinks(application, to, &CDataLink::AfterPeriod);
}

void KeepLearnt(TApplicationState& application, std::uint32_t reason) {
  if (!application.options.keepsLearnt) return;
  std::string error;
  CheckFiles(&error);  // what failed before is none of this event's
  for (TInstrumentState& instrument : application.instruments) {
    const hx_vinst::THostPart& host = *instrument.object->host;
    if (!host.keeps || (host.output != nullptr && !host.output->MayKeep())) continue;
    vcore::TEvent event = {{vcore::kEventKeep, reason, 0, 0}};
    instrument.object->ReceiveEvent(&event);
    if (!CheckFiles(&error)) application.Report(Utf8(instrument.object->name), error);
  }
}

}  // namespace runtime
