#include "runtime/instruments/application_state.h"

#include <algorithm>

#include "runtime/instruments/making.h"
#include "runtime/instruments/warnings.h"
#include "runtime/platform/messages.h"
#include "runtime/script/script.h"

namespace runtime {

TApplicationPart::TApplicationPart(CPlugin& thePlugin)
    : plugin(thePlugin), process(data, expressions), ctx{&files, this} {}

TApplicationPart::~TApplicationPart() {
  // Instruments end in reverse order; their expressions go with them, before
  // the programs that they share.
  while (!instruments.empty()) {
    if (hx_vinst::CInstrument* object = instruments.back().object) ReleaseObject(object);
    instruments.pop_back();
  }
  delete script;
}

void TApplicationPart::Report(const std::string& instrument, const std::string& text) {
  TRunTimeMessage message{expressions.Time(), instrument, Translated(text)};
  if (sink) {
    sink(message);
  } else {
    unseen.push_back(std::move(message));
  }
}

void TApplicationPart::Complain(TDiagnostic::EKind kind, std::uint32_t offset, const std::string& message) {
  if (diagnostics != nullptr) diagnostics->push_back(MakeDiagnostic(source, kind, offset, Translated(message)));
}

bool TApplicationPart::HasErrors() const {
  return diagnostics != nullptr && std::any_of(diagnostics->begin(), diagnostics->end(), [](const TDiagnostic& found) {
           return found.kind == TDiagnostic::kError;
         });
}

void WarnAtMark(hx_main::TContext* ctx, std::uint32_t mark, std::string_view message) {
  if (ctx == nullptr) return;
  TApplicationPart& application = ApplicationOf(ctx);
  const TInstrumentPart* instrument = application.reading.instrument;
  if (instrument == nullptr) return;  // nothing is being read
  application.Complain(TDiagnostic::kWarning, mark == hx_vinst::kNoMark ? instrument->header : mark,
                       std::string(message));
}

}  // namespace runtime
