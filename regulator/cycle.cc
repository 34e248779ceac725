// The skeleton of a period: evaluate, decide, tell, show, write, activate.
#include <cmath>

#include "regulator/regulator.h"

namespace loopbox {

namespace {

constexpr std::uint32_t kErrorCapacity = 127;

}  // namespace

std::uint8_t CRegulator::NeedsTiming() {
  return IsComplete() && loop.valueExpr != nullptr && loop.wishValueExpr != nullptr &&
         (HasOutput() || loop.onOutputId != hx_vinst::kNoIdentifier);
}

// The value of the expression, limited to its pane's range and shown there.
double CRegulator::Measure(hx_expr::TExprTreeRecord* expression, gaugekit::CMeter* meter) {
  if (expression == nullptr) return 0.0;
  hx_expr::TValue value = {};
  EvaluateExpression(expression, hx_expr::kReal, &value);
  double measured = value.real;
  if (measured > meter->rangeTo) {
    measured = meter->rangeTo;
  } else if (measured < meter->rangeFrom) {
    measured = meter->rangeFrom;
  }
  meter->SetMeterValue(measured);
  return measured;
}

// The event procedure may change the output: the result is the output after it.
double CRegulator::RaiseEvent(std::uint32_t identifier, double output) {
  TEventArguments values = {};
  EventArguments(output, values);
  hx_expr::TValueArray arguments = {tables.events.argumentCount, values};
  char16_t errorText[kErrorCapacity + 1] = {};
  if (!Invoke(identifier, &arguments, kErrorCapacity, errorText)) ReportError({kErrorCapacity, errorText});
  const double changed = EventOutput(values);
  return std::isfinite(changed) ? changed : output;
}

void CRegulator::ActivateReceivers() {
  toolkit::ListFirst(&receivers);
  vcom::TListItem* item = nullptr;
  while (toolkit::ListNext(&receivers, &item)) InstrumentException(item->words[0], item->words[1], 0);
}

void CRegulator::Action(std::uint32_t reason) {
  CInstrument::Action(reason);
  if (!loop.complete) return;

  const double wish = Measure(loop.wishValueExpr, wishValueMeter);
  const double value = Measure(loop.valueExpr, valueMeter);
  bool regulate = true;
  if (loop.conditionExpr != nullptr) {
    hx_expr::TValue condition = {};
    EvaluateExpression(loop.conditionExpr, hx_expr::kBoolean, &condition);
    regulate = condition.boolean != 0;
  }

  double output = 0.0;
  if (!Decide(wish, value, regulate, &output)) return;

  if (loop.onOutputId != hx_vinst::kNoIdentifier) output = RaiseEvent(loop.onOutputId, output);
  if (loop.onOutputChangeId != hx_vinst::kNoIdentifier && output != loop.lastOutput) {
    output = RaiseEvent(loop.onOutputChangeId, output);
  }
  outputMeter->SetMeterValue(output);
  WriteOutput(output);
  const bool activates = output != loop.lastOutput || (stateWord & hx_vinst::kStateActivateAlways) != 0;
  if (activates && receivers.first != nullptr) ActivateReceivers();
  loop.lastOutput = output;
}

}  // namespace loopbox
