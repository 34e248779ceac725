#include "runtime/instruments/learning_guard.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

#include "runtime/instruments/application_state.h"

namespace runtime {

namespace {

constexpr std::uint32_t kRest = 2;  // periods after which identification counts as stopped

// False where the procedure's name doesn't resolve.
bool Call(const hx_vinst::CInstrument& instrument, const char* procedure, std::vector<double>* arguments) {
  return CInstrumentHandle(&ApplicationOf(instrument.ctx), instrument.host->index).Call(procedure, arguments);
}

bool IsTrue(const hx_vinst::CInstrument& instrument, const char* procedure) {
  std::vector<double> answer = {0.0};
  return Call(instrument, procedure, &answer) && answer[0] != 0.0;
}

template <typename TSet>
bool IsGood(const TSet& set) {
  const bool finite = std::all_of(set.begin(), set.end(), [](double value) { return std::isfinite(value); });
  return finite && set[0] > 0.0 && set[1] > 0.0 && set[2] >= 0.0;
}

template <typename TSet>
std::string TextOf(const TSet& set) {
  char text[96];
  std::snprintf(text, sizeof text, "r0 = %.4g, tI = %.4g, tD = %.4g", set[0], set[1], set[2]);
  return text;
}

}  // namespace

// --- Reading ----------------------------------------------------------------------

CLearningGuard::CLearningGuard(hx_vinst::CInstrument& theInstrument, TReading& reading)
    : instrument(theInstrument), mark(reading.last) {
  CLexer& lexer = *reading.lexer;
  lexer.Expect("=");
  reading.last = lexer.Peek().offset;
  low = lexer.ExpectReal();
  if (!(low > 0.0 && low < 1.0)) throw TTextError{reading.last, "expected a share between 0 and 1"};
  lexer.Expect(",");
  reading.last = lexer.Peek().offset;
  high = lexer.ExpectReal();
  if (!(high > 1.0)) throw TTextError{reading.last, "expected a multiple above 1"};
}

void CLearningGuard::Check() {
  if (!IsAdaptive()) throw TTextError{mark, "guard needs an adaptive regulator, and not the law variable"};
  TApplicationState& application = ApplicationOf(instrument.ctx);
  std::optional<double> given[3];
  std::uint32_t place = 0;
  for (const TDefinitionEntry& entry : CInstrumentHandle(&application, instrument.host->index).Definition()) {
    for (std::size_t i = 0; i < std::size(given); ++i) {
      if (entry.block != "parameters" || entry.keyword != "param_" + std::to_string(i + 1)) continue;
      CLexer lexer(application.source);
      lexer.Seek(entry.offset);
      lexer.Skip();
      lexer.Expect("=");
      given[i] = lexer.ExpectReal();
      place = entry.offset;
    }
  }
  if (!given[0] || !given[1] || !given[2]) return;
  const TSet set = {*given[0], *given[1], *given[2]};
  if (!IsGood(set)) throw TTextError{place, "guard needs param_1 and param_2 above 0, and param_3 not below"};
  reference = standIn = set;
}

// --- Periods ----------------------------------------------------------------------

bool CLearningGuard::IsAdaptive() const { return IsTrue(instrument, "GetAdaptive__l"); }

void CLearningGuard::SetAdaptive(bool adaptive) const {
  std::vector<double> argument = {adaptive ? 1.0 : 0.0};
  Call(instrument, "SetAdaptive__l", &argument);
}

// Where a script has ended the learning, there are no turns any more.
void CLearningGuard::BeforeAction() {
  if (!turns) return;
  turns = acts = IsAdaptive();
  if (acts) SetAdaptive(false);
}

void CLearningGuard::AfterAction() {
  if (acts) SetAdaptive(true);
  acts = false;
}

bool CLearningGuard::Holds() {
  if (acts) {
    turns = false;
    return false;
  }
  std::vector<double> answer(3, 0.0);
  if (!IsAdaptive() || !Call(instrument, "GetParameters__RRR", &answer)) return false;
  NoteIdentification();
  const TSet set = {answer[0], answer[1], answer[2]};
  fails = !Passes(set);
  if (fails) {
    Fail(set);
    return true;
  }
  if (!standIn) standIn = set;
  if (!reference && hasLearnt) reference = set;
  if (reference) kept = set;
  return false;
}

void CLearningGuard::NoteIdentification() {
  const bool runs = IsTrue(instrument, "IsIdentificationRunning__l");
  hasRun = hasRun || runs;
  rested = runs || !hasRun ? 0 : std::min(rested + 1, kRest);
  hasLearnt = hasLearnt || rested == kRest;
}

bool CLearningGuard::Passes(const TSet& set) const {
  if (!IsGood(set)) return false;
  for (std::size_t i = 0; reference && i < set.size(); ++i) {
    const double ratio = set[i] / (*reference)[i];
    if ((*reference)[i] != 0.0 && !(ratio >= low && ratio <= high)) return false;
  }
  return true;
}

void CLearningGuard::Fail(const TSet& set) {
  const std::optional<TSet>& other = kept ? kept : standIn;
  if (other) {
    std::vector<double> arguments(other->begin(), other->end());
    Call(instrument, "SetParameters__RRR", &arguments);
  }
  if (kept) {
    SetAdaptive(false);
    hasEnded = true;
    return Report("what it learnt fails its guard (" + TextOf(set) + "): learning ends, it goes on by " +
                  TextOf(*kept));
  }
  turns = standIn.has_value();
  if (hasSaidSo) return;
  hasSaidSo = true;
  Report("what it learns fails its guard (" + TextOf(set) + "): " +
         (standIn ? "while it does, it learns in every second period, and acts in the others by " + TextOf(*standIn)
                  : "while it does, the output is held"));
}

void CLearningGuard::Report(const std::string& text) const {
  TApplicationState& application = ApplicationOf(instrument.ctx);
  application.Report(application.instruments[instrument.host->index].name, text);
}

}  // namespace runtime
