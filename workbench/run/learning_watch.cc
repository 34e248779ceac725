#include "workbench/run/learning_watch.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <filesystem>
#include <numbers>
#include <optional>
#include <string_view>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr std::uint64_t kLastingPeriods = 20;
constexpr double kLargeError = 0.05;  // of the wish pane's span

// The columns of those names; none where one is missing.
std::optional<CStateReader> ReaderOf(const CReference& reference, std::initializer_list<std::string_view> names) {
  std::vector<runtime::TStateColumn> columns;
  for (const std::string_view name : names) {
    const auto& state = reference.State();
    const auto found =
        std::find_if(state.begin(), state.end(), [&](const auto& column) { return column.name == name; });
    if (found == state.end()) return std::nullopt;
    columns.push_back(*found);
  }
  return CStateReader(columns);
}

bool IsGood(double r0, double tI, double tD) {
  return std::isfinite(r0) && std::isfinite(tI) && std::isfinite(tD) && r0 > 0.0 && tI > 0.0 && tD >= 0.0;
}

std::string ParametersText(double r0, double tI, double tD) {
  return "r0 = " + Significant(r0) + ", tI = " + Quantity(tI, "s") + ", tD = " + Quantity(tD, "s");
}

std::string StuckText(const runtime::CInstrumentHandle& instrument) {
  const auto shown = [&](runtime::EPane pane) { return Significant(instrument.Pane(pane).value); };
  return "stuck: the output has been at an end of its pane for " + Count(kLastingPeriods, "period") + ", and is " +
         shown(runtime::kOutputPane) + "; the wish is " + shown(runtime::kWishPane) + ", the value " +
         shown(runtime::kValuePane);
}

std::string RealPoleText(double pole, double period) {
  if (pole > 0.0 && pole < 1.0) return "a lag of " + Quantity(-period / std::log(pole), "s");
  return "a pole at z = " + Significant(pole) + ", which is no lag";
}

std::string DynamicsText(double a1, double a2, double period) {
  const double discriminant = a1 * a1 - 4.0 * a2;
  if (discriminant >= 0.0) {
    // The larger by magnitude first: the other is what the product leaves.
    const double larger = (-a1 - std::copysign(std::sqrt(discriminant), a1)) / 2.0;
    const double smaller = larger == 0.0 ? 0.0 : a2 / larger;
    return RealPoleText(std::max(larger, smaller), period) + " and " + RealPoleText(std::min(larger, smaller), period);
  }
  const std::complex<double> s = std::log(std::complex<double>(-a1, std::sqrt(-discriminant)) / 2.0) / period;
  return "oscillates with a period of " + Quantity(2.0 * std::numbers::pi / s.imag(), "s") + ", damping " +
         Significant(-s.real() / std::abs(s));
}

// "read x.par, y.par"; empty: none.
std::string FilesText(const char* verb, const std::vector<std::string>& files) {
  std::string text;
  for (const std::string& file : files) {
    text.append(text.empty() ? std::string(verb) + " " : ", ");
    text += std::filesystem::path(file).filename().string();
  }
  return text;
}

}  // namespace

CLearningWatch::CLearningWatch(const runtime::CApplication& theApplication, const TReferences& references,
                               TSink theSink)
    : application(theApplication), sink(std::move(theSink)) {
  for (std::size_t index = 0; index < application.InstrumentCount(); ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    const auto found = references.find(instrument.ClassName());
    if (instrument.PaneCount() == 0 || found == references.end()) continue;
    const TLearningProcedures& learning = found->second.Learning();
    std::optional<CStateReader> parameters = ReaderOf(found->second, {"r0", "tI", "tD", "identifying"});
    if (learning.whileTrue.empty() || learning.always.empty() || !parameters) continue;
    TWatched watched{instrument, &found->second, runtime::CProcedureName(learning.whileTrue),
                     runtime::CProcedureName(learning.always), *std::move(parameters)};
    bool hasParameters = false;
    // A script alone makes one learn that doesn't from the start.
    if (!Learns(watched, &hasParameters) && !application.HasScript()) continue;
    instrument.NoteRegulating();
    regulators.push_back(std::move(watched));
  }
}

bool CLearningWatch::Learns(const TWatched& watched, bool* hasParameters) {
  values.assign(1, 0.0);
  *hasParameters = watched.instrument.Call(watched.whileTrue, &values);
  if (*hasParameters) return values[0] != 0.0;
  values.assign(2, 0.0);
  return watched.instrument.Call(watched.always, &values);
}

bool CLearningWatch::IsAtEnd(const TWatched& watched) const {
  const runtime::TPane output = watched.instrument.Pane(runtime::kOutputPane);
  const auto [low, high] = std::minmax(output.rangeFrom, output.rangeTo);
  if (output.value > low && output.value < high) return false;
  const runtime::TPane wish = watched.instrument.Pane(runtime::kWishPane);
  const double error = wish.value - watched.instrument.Pane(runtime::kValuePane).value;
  return std::fabs(error) > kLargeError * std::fabs(wish.rangeTo - wish.rangeFrom);
}

void CLearningWatch::Observe() {
  for (TWatched& watched : regulators) {
    bool hasParameters = false;
    const bool learns = Learns(watched, &hasParameters);
    watched.hasLearnt = watched.hasLearnt || learns;
    if (!watched.hasLearnt) continue;
    const bool regulates = watched.instrument.Regulates();
    watched.periodsAtEnd = regulates && IsAtEnd(watched) ? watched.periodsAtEnd + 1 : 0;
    const bool isStuck = watched.periodsAtEnd >= kLastingPeriods;
    Note(watched, isStuck, isStuck ? StuckText(watched.instrument) : "", &watched.stuck);

    watched.parameters.Read(watched.instrument, &values);
    if (values[3] == 1.0) ++watched.periodsIdentified;
    if (!regulates) continue;
    // All 0: nothing has been computed yet.
    const bool isBad = learns && hasParameters && !IsGood(values[0], values[1], values[2]) &&
                       (values[0] != 0.0 || values[1] != 0.0 || values[2] != 0.0);
    if (isBad) ++watched.periodsNotGood;
    watched.periodsSinceGood = isBad ? watched.periodsSinceGood + 1 : 0;
    if (!isBad || watched.periodsSinceGood == kLastingPeriods) NoteNotGood(watched);
  }
}

void CLearningWatch::Finish() {
  for (TWatched& watched : regulators) {
    if (watched.periodsSinceGood > 0) NoteNotGood(watched);
  }
}

// By the parameters of the period that was observed last.
void CLearningWatch::NoteNotGood(TWatched& watched) {
  const bool now = watched.periodsSinceGood > 0;
  std::string text;
  if (now) {
    watched.parameters.Read(watched.instrument, &values);
    text = "what it learnt has not been good for " + Count(watched.periodsSinceGood, "period") + ": " +
           ParametersText(values[0], values[1], values[2]);
  }
  Note(watched, now, text, &watched.notGood);
}

void CLearningWatch::Note(const TWatched& watched, bool now, const std::string& text, TTrouble* trouble) {
  if (now && !trouble->now) {
    ++trouble->times;
    trouble->from = application.Time();
    trouble->text = text;
    sink({application.Time(), watched.instrument.Name(), runtime::Translated(text)});
  }
  if (!now && trouble->now) trouble->to = application.Time();
  trouble->now = now;
}

std::string CLearningWatch::Knowledge(const TWatched& watched) const {
  std::vector<double> known;
  CStateReader parameters = watched.parameters;
  parameters.Read(watched.instrument, &known);
  std::vector<std::string> parts;
  if (!std::isnan(known[0])) parts.push_back(ParametersText(known[0], known[1], known[2]));
  if (std::optional<CStateReader> model = ReaderOf(*watched.reference, {"a1", "a2", "b1", "b2"})) {
    model->Read(watched.instrument, &known);
    const double divisor = 1.0 + known[0] + known[1];
    parts.push_back(
        "model: " + (divisor == 0.0 ? "an integrator" : "gain " + Significant((known[2] + known[3]) / divisor)) + ", " +
        DynamicsText(known[0], known[1], application.Period()));
  }
  parts.push_back("identified " + Quantity(static_cast<double>(watched.periodsIdentified) * application.Period(), "s"));
  if (watched.periodsNotGood > 0) parts.push_back("not good in " + Count(watched.periodsNotGood, "period"));
  parts.push_back(FilesText("read", watched.instrument.FilesRead()));
  parts.push_back(FilesText("wrote", watched.instrument.FilesWritten()));
  std::string text = runtime::Translated("learnt");
  const char* before = ": ";
  for (const std::string& part : parts) {
    if (!part.empty()) text.append(std::exchange(before, "; ")).append(runtime::Translated(part));
  }
  return text;
}

std::vector<std::string> CLearningWatch::Lines(const std::string& instrument) const {
  const auto found = std::find_if(regulators.begin(), regulators.end(),
                                  [&](const TWatched& watched) { return watched.instrument.Name() == instrument; });
  if (found == regulators.end() || !found->hasLearnt) return {};
  std::vector<std::string> lines = {Knowledge(*found)};
  for (const TTrouble* trouble : {&found->notGood, &found->stuck}) {
    if (trouble->times == 0) continue;
    std::string line = trouble->times == 1 ? "" : Count(trouble->times, "time") + ", the last ";
    line += "from " + Seconds(trouble->from) + " s to ";
    line += (trouble->now ? "the end" : Seconds(trouble->to) + " s") + ": " + trouble->text;
    lines.push_back(runtime::Translated(line));
  }
  return lines;
}

}  // namespace workbench
