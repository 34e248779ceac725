// The host's half of every instrument: the default of each virtual operation
// and the run-time services.
#include <algorithm>
#include <cmath>

#include "runtime/expressions/machine.h"
#include "runtime/instruments/application_state.h"
#include "runtime/text/wide_text.h"

namespace hx_vinst {

namespace {

// Of an application's own instrument; the meters inside one have no part.
runtime::TApplicationState* Application(const CInstrument& instrument) {
  return instrument.ctx == nullptr ? nullptr : &runtime::ApplicationOf(instrument.ctx);
}

[[gnu::noinline]] void ReportEvaluation(const CInstrument& instrument, runtime::EEvalStatus status) {
  if (runtime::TApplicationState* application = Application(instrument)) {
    application->Report(runtime::Utf8(instrument.name), std::string(runtime::EvalMessage(status)));
  }
}

// Where no index is nothing is written: a last good one would be another element
// than the one that was meant.
[[gnu::noinline]] void SetIndexed(const CInstrument& instrument, std::int32_t element,
                                  hx_expr::TExprTreeRecord* expression, double number) {
  runtime::CDataElements& data = Application(instrument)->data;
  const bool wasOutside = expression->failedMark == kNoMark;
  const runtime::TEvaluation evaluation = runtime::Evaluate(expression);
  if (evaluation.newError) ReportEvaluation(instrument, evaluation.status);
  if (evaluation.status != runtime::EEvalStatus::kOk) return;
  std::uint32_t index;
  if (runtime::ToIndex(evaluation.value, data.CountOf(element), &index)) {
    data.SetFromDouble(element, index, number);
    return;
  }
  if (!wasOutside) ReportEvaluation(instrument, runtime::EEvalStatus::kIndexOutOfRange);
  expression->failedMark = kNoMark;
}

bool Holds(const CInstrument& instrument, hx_expr::TExprTreeRecord* expression) {
  if (expression == nullptr) return false;
  const runtime::TEvaluation evaluation = runtime::Evaluate(expression);
  if (evaluation.newError) ReportEvaluation(instrument, evaluation.status);
  return evaluation.value != 0.0;
}

[[gnu::noinline]] void RunExpression(const CInstrument& instrument, hx_expr::TExprTreeRecord* expression,
                                     std::uint32_t type, hx_expr::TValue* value) {
  if (type == hx_expr::kBoolean && (instrument.stateWord & (runtime::kStateTracks | runtime::kStateNoted)) != 0) {
    const bool held = (instrument.stateWord & runtime::kStateTracks) != 0 || Holds(instrument, expression);
    instrument.host->conditionHeld = held;
    hx_tool::SetValueBoolean(value, held ? 1 : 0);
    return;
  }
  const auto rest = [&instrument](runtime::TRun run) {
    const runtime::TEvaluation evaluation = runtime::Finish(run);
    if (evaluation.newError) ReportEvaluation(instrument, evaluation.status);
    return evaluation.value;
  };
  const double result = expression == nullptr ? 0.0 : runtime::Evaluate<double>(expression, rest);
  if (type == hx_expr::kBoolean) {
    hx_tool::SetValueBoolean(value, result != 0.0);
    return;
  }
  hx_tool::SetValueLongReal(value, result);
  if (instrument.ctx != nullptr) runtime::EvaluatedOf(instrument.ctx) = {&instrument, result};
}

}  // namespace

CInstrument::CInstrument()
    : winWidth(0), winHeight(0), ctx(nullptr), stateWord(0), optionWord(0), attributeWord(0), host(nullptr), name(u"") {
  kind = view::kInstrument;
}

void CInstrument::Done() {
  if (host != nullptr) {
    host->output.reset();
    for (vcom::CList* list : host->receiverLists) toolkit::ListDone(list);
    host->receiverLists.clear();
    for (hx_expr::TExprTreeRecord* expression : host->expressions) Application(*this)->expressions.Release(expression);
    host->expressions.clear();
    host->events.clear();
  }
  CNodeView::Done();
}

void CInstrument::ReceiveEvent(vcore::TEvent* event) { CNodeView::ReceiveEvent(event); }
void CInstrument::NewRect(vcom::CRect newRect) { CNodeView::NewRect(newRect); }
void CInstrument::InitInstrument() {}
void CInstrument::SettingsChanged() {}
std::uint8_t CInstrument::NeedsTiming() { return 0; }
void CInstrument::Blink(std::uint8_t) {}

std::uint8_t CInstrument::GetVarDescription(std::uint32_t, std::uint32_t, char16_t*, std::uint32_t, char16_t*) {
  return 0;
}

std::uint8_t CInstrument::GetProcedureDescription(std::uint32_t, std::uint32_t, char16_t*, std::uint32_t, char16_t*) {
  return 0;
}

std::uint8_t CInstrument::GetColorDescription(std::uint32_t, std::uint8_t, std::uint32_t**, std::uint32_t, char16_t*,
                                              std::uint32_t, char16_t*, std::uint32_t*) {
  return 0;
}

// Every definition starts anew: what is the same for every instrument goes
// back to its defaults here.
std::uint8_t CInstrument::ReadSelf(std::uint32_t errorCapacity, char16_t* errorText, std::uint32_t, char16_t*) {
  runlib::WStrAssign(errorCapacity, errorText, 0, u"");
  stateWord &= ~kStateActivateAlways;
  hidden = 0;
  if (host != nullptr) {
    host->blinkRate = 0;
    host->blinkPhase = 0;
    host->output.reset();
    const runtime::TApplicationState* const application = Application(*this);
    if (application != nullptr && application->outputsAreSteered && runtime::COutputHost::HasOutput(*this)) {
      host->output = std::make_unique<runtime::COutputHost>(*this);
    }
    host->keeps = true;
    winWidth = host->madeWidth;
    winHeight = host->madeHeight;
  }
  return 1;
}

std::uint8_t CInstrument::GetWinMinMaxSize(vcom::TPoint*, vcom::TPoint*) { return 0; }

std::uint32_t CInstrument::GetIdOfName(std::uint32_t length, const char16_t* procedureName, std::uint8_t flag) {
  if (host == nullptr || flag == 0) return kNoIdentifier;
  if (host->output != nullptr) {
    const std::uint32_t answered = host->output->IdOfEvent({procedureName, length});
    if (answered != kNoIdentifier) return answered;
  }
  for (std::size_t i = 0; i < host->events.size(); ++i) {
    const std::u16string& event = host->events[i].name;
    if (Match(static_cast<std::uint32_t>(event.size()), event.c_str(), length, procedureName)) {
      return kHostIdentifier | static_cast<std::uint32_t>(i);
    }
  }
  return kNoIdentifier;
}

std::uint8_t CInstrument::GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName) {
  const std::uint32_t number = identifier & ~kHostIdentifier;
  if (host == nullptr || identifier == number || number >= host->events.size()) return 0;
  const std::u16string& event = host->events[number].name;
  runlib::WStrAssign(capacity, procedureName, static_cast<std::uint32_t>(event.size()), event.c_str());
  return 1;
}

std::uint8_t CInstrument::GetDescriptionOfId(std::uint32_t, std::uint32_t, char16_t*) { return 0; }

std::uint8_t CInstrument::Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                                 char16_t* errorText) {
  const std::uint32_t number = identifier & ~kHostIdentifier;
  runtime::TApplicationState* application = Application(*this);
  std::string error = "no such procedure";
  if (host != nullptr && host->output != nullptr && host->output->Answers(identifier)) {
    if (host->output->Invoke(identifier, arguments, &error)) return 1;
  } else if (host != nullptr && identifier != number && number < host->events.size() && application != nullptr &&
             application->script != nullptr) {
    if (application->script->CallEvent(host->events[number].handler, arguments, &error)) return 1;
  }
  const std::u16string text = runtime::Utf16(error);
  runlib::WStrAssign(errorCapacity, errorText, static_cast<std::uint32_t>(text.size()), text.c_str());
  return 0;
}

std::uint8_t CInstrument::GetInstrumentInfo(std::uint32_t, std::uint32_t, char16_t*) { return 0; }
void CInstrument::FinishRead(vcom::CRect) {}

// --- Run-time services ---

void CInstrument::EvaluateExpression(hx_expr::TExprTreeRecord* expression, std::uint32_t type, hx_expr::TValue* value) {
  // Most conditions need no program to be run, so no stack for one, and can't fail.
  if (type == hx_expr::kBoolean && (stateWord & (runtime::kStateTracks | runtime::kStateNoted)) == 0 &&
      expression != nullptr && expression->isBooleanElement) {
    hx_tool::SetValueBoolean(value, *runtime::BooleanElementOf(expression));
    return;
  }
  RunExpression(*this, expression, type, value);
}

void CInstrument::FreeExpression(hx_expr::TExprTreeRecord** expression) {
  if (*expression == nullptr) return;
  if (host != nullptr) std::erase(host->expressions, *expression);
  Application(*this)->expressions.Release(*expression);
  *expression = nullptr;
}

// kNoDataElement is no element either.
void CInstrument::SetDataElement(std::uint64_t elementId, hx_expr::TExprTreeRecord* indexExpression,
                                 const hx_expr::TValue* value) {
  runtime::TApplicationState* application = Application(*this);
  const std::uint32_t element = elementId & 0x7FFFFFFF;
  if (application == nullptr || !application->data.Has(element)) return;
  const double number = value->type == hx_expr::kBoolean ? (value->boolean != 0 ? 1.0 : 0.0) : value->real;
  if (indexExpression == nullptr) {
    application->data.SetFromDouble(static_cast<std::int32_t>(element), 0, number);
  } else {
    SetIndexed(*this, static_cast<std::int32_t>(element), indexExpression, number);
  }
}

// A receiver item's words are the instrument's number and its complement.
void CInstrument::InstrumentException(std::uint32_t word0, std::uint32_t word1, std::uint32_t reserved) {
  runtime::TApplicationState* application = Application(*this);
  if (application == nullptr || word1 != ~word0 || word0 >= application->instruments.size() || reserved != 0) return;
  runtime::TInstrumentState& receiver = application->instruments[word0];
  const std::uint64_t period = application->periodsDone + 1;
  if (receiver.activatedIn == period) return;
  receiver.activatedIn = period;
  application->activated.push_back(word0);
}

void CInstrument::RegisterBlinking(std::uint32_t rate) {
  runtime::TApplicationState* application = Application(*this);
  if (host == nullptr || application == nullptr || host->blinkRate == rate) return;
  if (!host->blinks) application->blinking.push_back(this);
  host->blinks = true;
  host->blinkRate = rate;
}

void CInstrument::InstrumentShow() { hidden = 0; }
void CInstrument::InstrumentHide() { hidden = 1; }

std::uint8_t Match(std::uint32_t candidateLength, const char16_t* candidate, std::uint32_t nameLength,
                   const char16_t* procedureName) {
  return runlib::WStrCompare(candidateLength, candidate, nameLength, procedureName) == 0;
}

}  // namespace hx_vinst

namespace hx_main {

void RunTimeError(std::uint32_t nameCapacity, const char16_t* name, std::uint32_t length, const char16_t* message,
                  TContext* ctx, std::uint32_t reserved) {
  if (ctx == nullptr || reserved != 0) return;
  char16_t instrument[runtime::kNameCapacity + 1];
  char16_t text[runtime::kTextCapacity + 1];
  runlib::WStrAssign(std::min(nameCapacity, runtime::kNameCapacity), instrument, nameCapacity, name);
  runlib::WStrAssign(runtime::kTextCapacity, text, length, message);
  runtime::ApplicationOf(ctx).Report(runtime::Utf8(instrument), runtime::Utf8(text));
}

}  // namespace hx_main
