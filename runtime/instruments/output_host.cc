#include "runtime/instruments/output_host.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/gaugekit.h"
#include "runtime/expressions/machine.h"
#include "runtime/instruments/application_state.h"
#include "runtime/instruments/making.h"
#include "runtime/instruments/meters.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr std::u16string_view kSetPrevious = u"SetLastOutputValue__R";
constexpr std::u16string_view kSetLaw = u"SetRegulatorType__n";
// An event that the host answers, whether or not the script has a procedure.
constexpr std::uint32_t kAnswered = hx_vinst::kHostIdentifier | 0x40000000;
constexpr std::uint32_t kLeastPeriods = 2;  // that are tracked
constexpr std::uint32_t kErrorCapacity = 127;
constexpr double kStandIn = 1.0;  // the law classical
constexpr double kWithout = 5.0;  // the law variable

std::uint32_t Resolve(hx_vinst::CInstrument& instrument, std::u16string_view name) {
  return instrument.GetIdOfName(static_cast<std::uint32_t>(name.size()), name.data(), 0);
}

void Call(hx_vinst::CInstrument& instrument, std::uint32_t identifier, hx_expr::TValue& argument) {
  hx_expr::TValueArray arguments = {1, &argument};
  char16_t error[kErrorCapacity + 1] = {};
  instrument.Invoke(identifier, &arguments, kErrorCapacity, error);
}

hx_expr::TExprTreeRecord* Compile(hx_vinst::CInstrument& instrument, std::uint32_t type) {
  return CompileHeld(instrument, type == hx_expr::kBoolean ? EType::kBoolean : EType::kReal);
}

[[noreturn]] void Fail(std::uint32_t place, std::string message) { throw TTextError{place, std::move(message)}; }

}  // namespace

std::optional<COutputHost::EShape> COutputHost::ShapeOf(const std::vector<TNamed>& events) {
  const std::string letters = events.empty() ? "" : LettersOf(events[0].name);
  if (letters == "R") return EShape::kReal;
  if (letters == "l") return EShape::kBoolean;
  if (letters == "ll") return EShape::kSteps;
  return std::nullopt;
}

bool COutputHost::HasOutput(hx_vinst::CInstrument& instrument) { return ShapeOf(EventsOf(instrument)).has_value(); }

COutputHost::COutputHost(hx_vinst::CInstrument& theInstrument) : instrument(theInstrument) {
  const std::vector<TNamed> events = EventsOf(instrument);
  for (std::size_t i = 0; i < std::size(names) && i < events.size(); ++i) names[i] = Utf16(events[i].name);
  shape = *ShapeOf(events);
  instrument.stateWord |= kStateHosted;
}

COutputHost::~COutputHost() {
  instrument.stateWord &= ~(kStateHosted | kStateTracks | kStateNoted);
  for (hx_expr::TExprTreeRecord** expression : {&track, &trackWhen, &start, &tracked.index}) {
    instrument.FreeExpression(expression);
  }
}

// --- Reading ----------------------------------------------------------------------

// The element that the expression ahead consists of; reads nothing.
COutputHost::TElementPlace COutputHost::PlainElement(TReading& reading) const {
  CLexer& lexer = *reading.lexer;
  const CDataElements& data = ApplicationOf(instrument.ctx).data;
  const std::uint32_t begin = lexer.Offset();
  TElementPlace place;
  const TLexeme first = lexer.Next();
  const std::int32_t element = first.kind == ELexeme::kIdentifier ? data.Find(first.text) : -1;
  if (element >= 0 && !data[element].isArray && lexer.Peek().Is(";")) place.element = element;
  if (element >= 0 && data[element].isArray && lexer.TakeIf("[")) {
    place.index = Compile(instrument, hx_expr::kReal);
    if (lexer.TakeIf("]") && lexer.Peek().Is(";")) {
      place.element = element;
    } else {
      instrument.FreeExpression(&place.index);
    }
  }
  lexer.Seek(begin);
  return place;
}

void COutputHost::ReadTrack(TReading& reading) {
  if (trackMark != hx_vinst::kNoMark) Fail(reading.last, "a second track");
  trackMark = reading.last;
  reading.lexer->Expect("=");
  reading.last = reading.lexer->Peek().offset;
  tracked = PlainElement(reading);
  track = Compile(instrument, ValueType());
}

void COutputHost::ReadTrackWhen(TReading& reading) {
  if (trackWhenMark != hx_vinst::kNoMark) Fail(reading.last, "a second track_when");
  trackWhenMark = reading.last;
  reading.lexer->Expect("=");
  reading.last = reading.lexer->Peek().offset;
  trackWhen = Compile(instrument, hx_expr::kBoolean);
}

void COutputHost::ReadFollow(TReading& reading) { followMark = reading.last; }

void COutputHost::ReadStart(TReading& reading) {
  if (shape == EShape::kSteps) Fail(reading.last, "steps have no value to start from");
  if (startMark != hx_vinst::kNoMark) Fail(reading.last, "a second start");
  startMark = reading.last;
  CLexer& lexer = *reading.lexer;
  lexer.Expect("=");
  const std::uint32_t begin = lexer.Offset();
  reading.last = lexer.Peek().offset;
  if (lexer.TakeIf("output") && lexer.Peek().Is(";")) return;  // the instrument's own
  lexer.Seek(begin);
  start = Compile(instrument, ValueType());
}

void COutputHost::ReadGuard(TReading& reading) {
  if (guard) Fail(reading.last, "a second guard");
  guard.emplace(instrument, reading);
  instrument.stateWord |= kStateNoted;
}

void COutputHost::Check() {
  if (guard) guard->Check();
  if (track != nullptr && trackWhen == nullptr) Fail(trackMark, "track needs track_when = CONDITION");
  if (trackWhen != nullptr && track == nullptr) Fail(trackWhenMark, "track_when needs track = VALUE");
  if (startMark != hx_vinst::kNoMark && start == nullptr && output.element < 0) {
    Fail(startMark, "start = output needs an output element");
  }
  if (followMark == hx_vinst::kNoMark) return;
  const CDataElements& data = ApplicationOf(instrument.ctx).data;
  if (tracked.element < 0) Fail(followMark, "follow needs track = ELEMENT");
  const TDataElement& element = data[tracked.element];
  if (element.writtenByProcess) Fail(trackMark, "'" + element.name + "' is computed by the process");
}

// --- Events -----------------------------------------------------------------------

std::uint32_t COutputHost::IdOfEvent(std::u16string_view name) const {
  for (std::uint32_t i = 0; i < std::size(names); ++i) {
    if (!names[i].empty() && name == names[i]) return kAnswered | i;
  }
  return hx_vinst::kNoIdentifier;
}

bool COutputHost::Answers(std::uint32_t identifier) const {
  return (identifier & kAnswered) == kAnswered && (identifier & ~kAnswered) < std::size(names);
}

bool COutputHost::Invoke(std::uint32_t event, hx_expr::TValueArray* arguments, std::string* error) {
  TApplicationState& application = ApplicationOf(instrument.ctx);
  const std::uint32_t number = event & ~kAnswered;
  const auto& events = instrument.host->events;
  const auto procedure =
      std::find_if(events.begin(), events.end(), [&](const auto& known) { return known.name == names[number]; });
  bool succeeded = true;
  if (procedure != events.end() && application.script != nullptr) {
    succeeded = application.script->CallEvent(procedure->handler, arguments, error);
  }
  if (number == 0 && guard && instrument.host->conditionHeld && guard->Holds()) {
    const gaugekit::CMeter* pane = MeterOf(instrument, kOutputPane);
    guardHolds = pane != nullptr;
    if (guardHolds) heldOutput = pane->meterValue;
  }
  if (tracks) {
    Replace(*arguments, value);
  } else if (guardHolds) {
    Replace(*arguments, heldOutput);
  }
  return succeeded;
}

// A range may be reversed: its ends change places.
double COutputHost::Limited(double given) const {
  const gaugekit::CMeter* pane = MeterOf(instrument, kOutputPane);
  if (pane == nullptr) return given;
  const auto [low, high] = std::minmax(pane->rangeFrom, pane->rangeTo);
  return std::clamp(given, low, high);
}

void COutputHost::Replace(hx_expr::TValueArray& arguments, double other) const {
  hx_expr::TValue* const values = arguments.items;
  if (shape == EShape::kReal) {
    hx_tool::SetValueLongReal(&values[0], Limited(other));
  } else if (shape == EShape::kBoolean) {
    hx_tool::SetValueBoolean(&values[0], other != 0.0);
  } else {
    hx_tool::SetValueBoolean(&values[0], other < 0.0);
    hx_tool::SetValueBoolean(&values[1], other > 0.0);
  }
}

// --- Periods ----------------------------------------------------------------------

double COutputHost::Evaluate(hx_expr::TExprTreeRecord* expression, std::uint32_t type) const {
  hx_expr::TValue result = {};
  instrument.EvaluateExpression(expression, type, &result);
  return type == hx_expr::kBoolean ? (result.boolean != 0 ? 1.0 : 0.0) : result.real;
}

double COutputHost::ValueOf(const TElementPlace& place) const {
  const CDataElements& data = ApplicationOf(instrument.ctx).data;
  std::uint32_t item = 0;
  if (place.index != nullptr && !ToIndex(Evaluate(place.index, hx_expr::kReal), data.CountOf(place.element), &item)) {
    return 0.0;
  }
  return data.AsDouble(place.element, item);
}

void COutputHost::NoteOutputBefore() {
  if (startMark != hx_vinst::kNoMark && start == nullptr && !outputBefore) outputBefore = ValueOf(output);
}

void COutputHost::BeforeAction(std::uint64_t period) {
  if (evaluatedIn != period) {
    evaluatedIn = period;
    NoteOutputBefore();
    const bool asked = trackWhen != nullptr && Evaluate(trackWhen, hx_expr::kBoolean) != 0.0;
    const double own = track == nullptr ? value : Evaluate(track, ValueType());
    const bool holds = asked || outside;
    const bool held = holds || heldFor == 1;
    // A period more of what was tracked from outside alone goes on with that.
    const double wanted = outside ? *outside : held && !asked && heldByOutside ? value : own;
    heldByOutside = held && !asked && (outside || heldByOutside);
    heldFor = !held ? 0 : std::min(heldFor + 1, kLeastPeriods);
    const bool starts = (startMark != hx_vinst::kNoMark || outsideStart) && periodsActed < kLeastPeriods;
    if (starts) ++periodsActed;
    const double first = !starts            ? 0.0
                         : outsideStart     ? *outsideStart
                         : start == nullptr ? *outputBefore
                                            : Evaluate(start, ValueType());
    tracks = held || starts;
    value = held ? wanted : first;
  }
  if (tracks) instrument.stateWord |= kStateTracks;
  guardHolds = false;
  instrument.host->conditionHeld = true;  // where it has none
  if (guard) guard->BeforeAction();
}

COutputHost::TState COutputHost::State() const {
  TState state = {*this, std::nullopt};
  if (guard) state.second = guard->State();
  return state;
}

void COutputHost::SetState(const TState& state) {
  static_cast<TOutputState&>(*this) = state.first;
  if (guard) guard->SetState(*state.second);
}

void COutputHost::StartFrom(double given) {
  outsideStart = given;
  periodsActed = 0;
}

void COutputHost::AfterAction() {
  instrument.stateWord &= ~kStateTracks;
  if (guard) guard->AfterAction();
  if ((tracks || guardHolds) && shape == EShape::kReal) SetPreviousOutput(tracks ? value : heldOutput);
  if (tracks || followMark == hx_vinst::kNoMark) return;
  const gaugekit::CMeter* pane = MeterOf(instrument, kOutputPane);
  hx_expr::TValue shown = {};
  if (pane == nullptr) return;
  hx_tool::SetValueLongReal(&shown, pane->meterValue);
  instrument.SetDataElement(static_cast<std::uint32_t>(tracked.element), tracked.index, &shown);
}

// The one law that doesn't offer the procedure is changed for another meanwhile.
void COutputHost::SetPreviousOutput(double givenOutput) {
  hx_expr::TValue previous = {};
  hx_tool::SetValueLongReal(&previous, Limited(givenOutput));
  std::uint32_t set = Resolve(instrument, kSetPrevious);
  if (set != hx_vinst::kNoIdentifier) return Call(instrument, set, previous);
  const std::uint32_t setLaw = Resolve(instrument, kSetLaw);
  if (setLaw == hx_vinst::kNoIdentifier) return;
  hx_expr::TValue law = {};
  hx_tool::SetValueLongReal(&law, kStandIn);
  Call(instrument, setLaw, law);
  set = Resolve(instrument, kSetPrevious);
  if (set != hx_vinst::kNoIdentifier) Call(instrument, set, previous);
  hx_tool::SetValueLongReal(&law, kWithout);
  Call(instrument, setLaw, law);
}

}  // namespace runtime
