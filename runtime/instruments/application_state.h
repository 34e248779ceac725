// What the runtime holds of an application while it is read and run.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_APPLICATION_STATE_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_APPLICATION_STATE_H

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/gaugekit.h"
#include "host/hx_main.h"
#include "runtime/expressions/compiler.h"
#include "runtime/expressions/data_elements.h"
#include "runtime/expressions/expression.h"
#include "runtime/instruments/event_host.h"
#include "runtime/instruments/host_part.h"
#include "runtime/instruments/instrument_state.h"
#include "runtime/instruments/reading.h"
#include "runtime/instruments/start.h"
#include "runtime/platform/files.h"
#include "runtime/runtime.h"
#include "runtime/simulation/process.h"

namespace runtime {

// The real that an instrument evaluated last and has not shown yet. A regulator
// shows what it measured; where its pane's range cut that, the meter is given
// another value.
struct TEvaluated {
  const hx_vinst::CInstrument* instrument = nullptr;  // null: shown
  double value = 0.0;
};

// The context that the application's instruments have: what each of them touches
// in a period stands in it, without a way over the application.
struct TApplicationContext : hx_main::TContext {
  TEvaluated evaluated;
};

struct TApplicationState {
  explicit TApplicationState(CPlugin& thePlugin);
  TApplicationState(const TApplicationState&) = delete;
  TApplicationState& operator=(const TApplicationState&) = delete;
  ~TApplicationState();

  CPlugin& plugin;
  CApplication* face = nullptr;  // whose state this is
  TReadOptions options;
  TNamedNumbers numbers;  // the constants
  CSource source;
  std::set<std::string> includedFiles;              // paths
  std::vector<TDiagnostic>* diagnostics = nullptr;  // only while reading

  std::string name;
  double period = 0.1;               // seconds
  double duration = 60.0;            // seconds
  std::uint32_t durationOffset = 0;  // in the text; 0 where it isn't given
  std::vector<TNamedSpan> windows;
  std::uint64_t periodCount = 0;
  std::uint64_t periodsDone = 0;
  std::uint64_t leftOut = 0;  // periods just before the next
  std::uint32_t clock = 0;    // milliseconds; others may have set the process's since
  bool ended = false;

  CDataElements data;              // those of the data blocks first, then the process's own
  std::int32_t declaredCount = 0;  // of the data blocks
  CExpressions expressions;
  CProcess process;
  std::unique_ptr<CEventHost> script;  // null without a script block
  runlib::TFileContext files;
  TApplicationContext ctx;

  std::vector<TInstrumentState> instruments;
  std::unordered_map<std::string, std::size_t> instrumentByName;
  TReading reading;
  std::vector<TTimed> timed;                     // in the order of the instruments
  std::vector<hx_vinst::CInstrument*> blinking;  // that asked for it at any time
  std::vector<std::size_t> activated;            // receivers of this period, in order

  bool outputsAreSteered = false;   // from outside: every instrument with an output has a host's part for it
  std::set<const void*> connected;  // items that are read from outside: no script writes them
  std::vector<CDataLink*> links;    // opened, in the order in which they write
  std::string linkError;            // of the first that failed
  std::function<void(const TRunTimeMessage&)> sink;
  std::vector<TRunTimeMessage> unseen;  // reported before there was a sink
  std::unique_ptr<CStart> start;        // null where it isn't to run again

  void Report(const std::string& instrument, const std::string& text);
  void Complain(TDiagnostic::EKind kind, std::uint32_t offset, const std::string& message);
  bool HasErrors() const;
};

// The application behind a context or an instrument.
inline TApplicationState& ApplicationOf(hx_main::TContext* ctx) {
  return *static_cast<TApplicationState*>(ctx->application);
}

// Reads every block of the text and makes and reads the instruments; what is
// wrong goes to the diagnostics.
void ReadApplication(TApplicationState& application);
// NAME or NAME[INDEX], and a value as it is written. False with a message.
bool SetInitialValue(TApplicationState& application, std::string_view target, const std::string& value,
                     std::string* error);
// One period: the clock, the process, the script, the timers, the receivers.
void RunPeriod(TApplicationState& application);
// Sends every instrument the event that makes it keep what it has learnt;
// `reason` is vcore::kKeepAtEnd or kKeepOnRequest. What can't be written is
// reported, in the instrument's name.
void KeepLearnt(TApplicationState& application, std::uint32_t reason);

// Of an instrument with a context, which is the application's.
inline TEvaluated& EvaluatedOf(hx_main::TContext* ctx) { return static_cast<TApplicationContext*>(ctx)->evaluated; }

// A meter shows another value than the instrument evaluated last: keeps that when
// it is the meter's own instrument, and it was the wish or the value that its pane
// cut.
void NoteCut(const gaugekit::CMeter& meter);

}  // namespace runtime

#endif
