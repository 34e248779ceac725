#include "runtime/instruments/application_state.h"

#include <algorithm>

#include "runtime/instruments/making.h"
#include "runtime/instruments/meters.h"
#include "runtime/instruments/warnings.h"
#include "runtime/runtime.h"

namespace runtime {

TApplicationState::TApplicationState(CPlugin& thePlugin)
    : plugin(thePlugin), process(data, expressions), ctx{{&files, this}, {}} {}

TApplicationState::~TApplicationState() {
  // Instruments end in reverse order; their expressions go with them, before
  // the programs that they share.
  while (!instruments.empty()) {
    if (hx_vinst::CInstrument* object = instruments.back().object) ReleaseObject(object);
    instruments.pop_back();
  }
}

void TApplicationState::Report(const std::string& instrument, const std::string& text) {
  TRunTimeMessage message{expressions.Time(), instrument, Translated(text)};
  if (sink) {
    sink(message);
  } else {
    unseen.push_back(std::move(message));
  }
}

void TApplicationState::Complain(TDiagnostic::EKind kind, std::uint32_t offset, const std::string& message) {
  if (diagnostics != nullptr) diagnostics->push_back(MakeDiagnostic(source, kind, offset, Translated(message)));
}

bool TApplicationState::HasErrors() const {
  return diagnostics != nullptr && std::any_of(diagnostics->begin(), diagnostics->end(), [](const TDiagnostic& found) {
           return found.kind == TDiagnostic::kError;
         });
}

void NoteCut(const gaugekit::CMeter& meter) {
  const hx_vinst::CInstrument& instrument = *meter.evaluated->instrument;
  if (meter.parent != &instrument || instrument.host == nullptr) return;
  const hx_vinst::THostPart::TCut cut = {ApplicationOf(instrument.ctx).periodsDone + 1, meter.evaluated->value};
  if (&meter == MeterOf(instrument, kWishPane)) instrument.host->wishCut = cut;
  if (&meter == MeterOf(instrument, kValuePane)) instrument.host->valueCut = cut;
}

const gaugekit::CMeter& GiverOf(const gaugekit::CMeter& meter) {
  if (meter.parent == nullptr || &meter != MeterOf(*meter.parent, kValuePane)) return meter;
  const gaugekit::CMeter& wish = *MeterOf(*meter.parent, kWishPane);
  return wish.mode == gaugekit::kHistory || meter.mode == gaugekit::kHistory ? wish : meter;
}

const gaugekit::CMeter& MeterOfHistory(const gaugekit::CMeter& meter, const double* buffer) {
  if (meter.parent == nullptr) return meter;
  for (const gaugekit::CMeter& other : MetersOf(*meter.parent)) {
    if (other.historyBuffer == buffer) return other;
  }
  return meter;
}

void WarnAtMark(hx_main::TContext* ctx, std::uint32_t mark, std::string_view message) {
  if (ctx == nullptr) return;
  TApplicationState& application = ApplicationOf(ctx);
  const TInstrumentState* instrument = application.reading.instrument;
  if (instrument == nullptr) return;  // nothing is being read
  application.Complain(TDiagnostic::kWarning, mark == hx_vinst::kNoMark ? instrument->header : mark,
                       std::string(message));
}

}  // namespace runtime
