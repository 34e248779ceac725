#include "workbench/run/tune_result.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "workbench/text.h"

namespace workbench {
namespace {

using json::CValue;
using runtime::Translated;

constexpr char kNoNumber[] = "–";

template <typename TNumber>
CValue OrNull(const std::optional<TNumber>& value) {
  return value ? CValue(*value) : CValue();
}

std::string OrNone(const std::optional<double>& value, const std::string& unit) {
  return value && std::isfinite(*value) ? Quantity(*value, unit) : kNoNumber;
}

// "1.85 (at worst 1.96)".
std::string WithWorst(const std::optional<double>& nominal, const std::optional<double>& worst,
                      const std::string& unit) {
  const std::string first = OrNone(nominal, unit);
  const std::string last = OrNone(worst, unit);
  return first == last ? first : Translated(first + " (at worst " + last + ")");
}

CValue MarginsValue(double ms, const std::optional<double>& gain, const std::optional<double>& phase) {
  return {{"ms", ms}, {"gain", OrNull(gain)}, {"phase", OrNull(phase)}};
}

std::string Per(const std::string& unit, const std::string& other) {
  return unit.empty() || other.empty() ? "" : unit + "/" + other;
}

// The process as the records tell it, with what that is off by.
std::string ModelText(const TTunedLoop& loop, const tuning::TEstimate& estimate) {
  const std::string value = loop.instrument.QuantityUnit();
  const std::string output = loop.instrument.OutputUnit();
  const tuning::TModel& model = estimate.model;
  const tuning::TDeviations& deviations = estimate.deviations;
  CTable table;
  const auto add = [&](const char* label, double number, double deviation, const std::string& unit) {
    if (number == 0.0 && deviation == 0.0) return;
    table.Add({label, Quantity(number, ""), "± " + Significant(deviation), unit});
  };
  const std::string gain = Per(value, output);
  const double mirrored = loop.raises ? 1.0 : -1.0;
  add("k", mirrored * model.k, deviations.k, gain.empty() ? "" : gain + "/s");
  add("kb", mirrored * model.kb, deviations.kb, gain);
  add("L", model.L, deviations.L, "s");
  add("tau", model.tau, deviations.tau, "s");
  add("eps", model.eps, deviations.eps, "1/s");
  add("T3", model.T3, deviations.T3, "s");
  table.Add({Translated("noise"), Significant(estimate.sigma), "", value});
  return loop.instrument.Name() + ": (k + kb s) e^(-L s) / ((tau s^2 + s + eps)(1 + T3 s))\n" + table.Text();
}

}  // namespace

TLoopModels SampledModels(const tuning::TEstimate& estimate, double period) {
  TLoopModels models;
  for (const tuning::TModel& model : estimate.set) models.sampled.push_back(tuning::Sample(model, period));
  models.load = tuning::DesignLoad(estimate.model, period);
  models.sigma = estimate.sigma;
  return models;
}

TJudged Judge(const tuning::TController& controller, const TLoopModels& models) {
  TJudged judged{controller, {}, {}, {}};
  const tuning::TSampledModel& nominal = models.sampled.front();
  judged.nominal = tuning::Margins(controller, nominal);
  judged.worst = {judged.nominal.ms, judged.nominal.gain, judged.nominal.phase};
  for (const tuning::TSampledModel& model : models.sampled) {
    const tuning::TMargins margins = tuning::Margins(controller, model);
    judged.worst.ms = std::max(judged.worst.ms, margins.ms);
    if (margins.gain) judged.worst.gain = std::min(judged.worst.gain.value_or(*margins.gain), *margins.gain);
    if (margins.phase) judged.worst.phase = std::min(judged.worst.phase.value_or(*margins.phase), *margins.phase);
  }
  judged.cost = tuning::Cost(controller, nominal, models.load);
  if (models.sigma > 0.0) judged.noiseAtOutput = models.sigma * tuning::NoiseGain(controller, nominal);
  return judged;
}

std::optional<tuning::TController> ControllerOf(const TLoopSettings& settings, double period) {
  for (const tuning::ELaw law : kTunedLaws) {
    if (tuning::LawName(law) != settings.law || !settings.Acts()) continue;
    return tuning::TController{law,         std::abs(settings.r0),      settings.tI,
                               settings.tD, settings.lag.value_or(0.2), period};
  }
  return std::nullopt;
}

std::string TTuneResult::Text() const {
  const std::string value = loop.instrument.QuantityUnit();
  const std::string output = loop.instrument.OutputUnit();
  std::string text;
  if (estimate != nullptr) text += ModelText(loop, *estimate);
  CTable table;
  std::vector<const TJudged*> columns;
  std::vector<std::string> heading = {""};
  if (proposed) {
    columns.push_back(&*proposed);
    heading.push_back(Translated(refused.empty() ? "proposed" : "proposed, not certified"));
  }
  if (now) {
    columns.push_back(&*now);
    heading.push_back(Translated("now"));
  }
  table.Add(heading);
  const auto add = [&](const char* label, auto cell) {
    std::vector<std::string> row = {Translated(label)};
    for (const TJudged* const column : columns) row.push_back(cell(*column));
    table.Add(std::move(row));
  };
  const double sign = loop.now.r0 < 0.0 ? -1.0 : 1.0;
  add("law", [](const TJudged& one) { return std::string(tuning::LawName(one.controller.law)); });
  add("r0", [&](const TJudged& one) { return Quantity(sign * one.controller.r0, Per(output, value)); });
  add("tI", [](const TJudged& one) { return Quantity(one.controller.tI, "s"); });
  add("tD", [](const TJudged& one) { return Quantity(one.controller.tD, "s"); });
  add("lag", [](const TJudged& one) {
    return tuning::HasLag(one.controller.law) ? Significant(one.controller.lag) + " tD" : std::string(kNoNumber);
  });
  add("period", [](const TJudged& one) { return Quantity(one.controller.period, "s"); });
  add("gain margin", [](const TJudged& one) { return WithWorst(one.nominal.gain, one.worst.gain, ""); });
  add("phase margin", [](const TJudged& one) { return WithWorst(one.nominal.phase, one.worst.phase, "°"); });
  add("Ms", [](const TJudged& one) {
    return one.nominal.stable ? WithWorst(one.nominal.ms, one.worst.ms, "") : Translated("not stable");
  });
  add("cost of a wish's step", [&](const TJudged& one) { return OrNone(one.cost.setPoint, ""); });
  add("cost of a load's step", [&](const TJudged& one) { return OrNone(one.cost.load, ""); });
  add("noise at the output", [&](const TJudged& one) { return OrNone(one.noiseAtOutput, output); });
  if (proposed) {
    std::vector<std::string> row = {Translated("regret"), OrNone(regret, "")};
    if (now) row.emplace_back("");
    table.Add(std::move(row));
  }
  if (!columns.empty()) text += table.Text();
  const auto say = [&](const char* mark, const std::vector<std::string>& sentences) {
    for (const std::string& sentence : sentences) text += Indented(Translated(mark + sentence), 2, 100);
  };
  say("refused: ", refused);
  say("advice: ", advice);
  return text;
}

CValue TTuneResult::Value(bool ofNow) const {
  const std::optional<TJudged>& told = ofNow ? now : proposed;
  const double sign = loop.now.r0 < 0.0 ? -1.0 : 1.0;
  const double mirrored = loop.raises ? 1.0 : -1.0;
  CValue value = CValue::Object();
  value.Set("instrument", loop.instrument.Name());
  value.Set("law", told ? CValue(tuning::LawName(told->controller.law)) : CValue());
  CValue parameters;
  if (told) {
    const tuning::TController& controller = told->controller;
    parameters = {{"r0", sign * controller.r0},
                  {"tI", controller.tI},
                  {"tD", controller.tD},
                  {"derivation_delay", tuning::HasLag(controller.law) ? CValue(controller.lag) : CValue()}};
  }
  value.Set("parameters", std::move(parameters));
  value.Set("period", told ? CValue(told->controller.period) : CValue());
  CValue model;
  if (estimate != nullptr) {
    const tuning::TModel& m = estimate->model;
    const tuning::TDeviations& d = estimate->deviations;
    model = {{"k", mirrored * m.k},
             {"kb", mirrored * m.kb},
             {"L", m.L},
             {"tau", m.tau},
             {"eps", m.eps},
             {"T3", m.T3},
             {"order", estimate->order},
             {"sigma", estimate->sigma},
             {"std", {{"k", d.k}, {"kb", d.kb}, {"L", d.L}, {"tau", d.tau}, {"eps", d.eps}, {"T3", d.T3}}}};
  }
  value.Set("model", std::move(model));
  CValue margins;
  CValue cost;
  if (told) {
    margins = {{"nominal", MarginsValue(told->nominal.ms, told->nominal.gain, told->nominal.phase)},
               {"worst", MarginsValue(told->worst.ms, told->worst.gain, told->worst.phase)}};
    cost = {{"set_point", told->cost.setPoint}, {"load", told->cost.load}};
  }
  value.Set("margins", std::move(margins));
  value.Set("cost", std::move(cost));
  value.Set("regret", OrNull(regret));
  value.Set("noise_at_output", told ? CValue(told->noiseAtOutput) : CValue());
  value.Set("models", static_cast<std::uint64_t>(models));
  value.Set("refused", CValue::ArrayOf(refused));
  value.Set("advice", CValue::ArrayOf(advice));
  if (ask) {
    value.Set("ask",
              {{"experiment", ask->experiment == tuning::EExperiment::kRelay ? "relay" : "step"}, {"rows", ask->rows}});
  }
  return value;
}

}  // namespace workbench
