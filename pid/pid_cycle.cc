// A period of a pid_regulator: what it decides, and how its output is written.
#include <cmath>

#include "pid/laws.h"
#include "pid/pid_regulator.h"

namespace loopbox {

void CPidRegulator::Action(std::uint32_t reason) {
  if (IsIdleCall(reason)) return;
  if (settings.blinkRate != 0) RegisterBlinking(settings.blinkRate);
  CRealRegulator::Action(reason);
}

void CPidRegulator::Blink(std::uint8_t phase) {
  CRealRegulator::Blink(phase);
  if (phase != 0) {
    InstrumentHide();
  } else {
    InstrumentShow();
  }
}

// When no time has passed since the last regulated period: false.
bool CPidRegulator::MeasureTime() {
  const std::uint32_t now = vcore::GetTimeMS();
  const std::uint32_t passed = now >= lastTime ? now - lastTime : now - lastTime + vcore::kMillisecondsPerDay;
  state->dt = static_cast<double>(passed) * 0.001;
  if (state->dt == 0.0) return false;
  lastTime = now;
  return true;
}

double CPidRegulator::ComputeLaw() {
  switch (settings.regulatorType) {
    case kClassical:
      return ClassicalLaw(*state);
    case kTakahashi:
      return TakahashiLaw(*state);
    case kClassicalDelay:
      return ClassicalDelayLaw(*state);
    case kTakahashiDelay:
      return TakahashiDelayLaw(*state);
    case kVariable:
      return VariableLaw(*state);
    default:
      return state->output[0];
  }
}

bool CPidRegulator::Decide(double wish, double value, bool regulate, double* output) {
  TPidState& s = *state;
  s.wish[0] = wish;
  s.value[0] = value;

  double computed = s.output[1];
  if (regulate) {
    if (!MeasureTime()) return false;
    if (settings.adaptive) Supervise();
    computed = ComputeLaw();
  } else if (settings.manualExpr != nullptr) {
    hx_expr::TValue manual = {};
    EvaluateExpression(settings.manualExpr, hx_expr::kReal, &manual);
    computed = Mirror(manual.real);
  }
  // When there is no finite output, the previous one is held.
  s.output[0] = std::isfinite(computed) ? computed : s.output[1];
  const double limited = LimitOutput(Mirror(s.output[0]));

  s.Shift(regulate);
  s.output[0] = 0.0;
  s.wish[0] = 0.0;
  s.value[0] = 0.0;
  if (settings.outputTrimming) s.output[1] = Mirror(limited);

  *output = limited;
  return true;
}

}  // namespace loopbox
