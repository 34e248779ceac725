#include "panel/model.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "json/json.h"
#include "panel/operators.h"

namespace panel {

namespace {

constexpr runtime::EPane kPanes[] = {runtime::kWishPane, runtime::kValuePane, runtime::kOutputPane};
constexpr const char* kWords[] = {"wish", "value", "output"};

template <typename TNumber>
json::CValue Maybe(const std::optional<TNumber>& value) {
  return value ? json::CValue(*value) : json::CValue(nullptr);
}

json::CValue Maybe(const std::optional<std::size_t>& number) {
  return number ? json::CValue(static_cast<std::uint64_t>(*number)) : json::CValue(nullptr);
}

json::CValue Pair(const json::CValue& one, const json::CValue& other) {
  json::CValue pair = json::CValue::Array();
  pair.Append(one);
  pair.Append(other);
  return pair;
}

template <typename TList, typename TMake>
json::CValue Listed(const TList& list, TMake make) {
  json::CValue listed = json::CValue::Array();
  for (const auto& element : list) listed.Append(make(element));
  return listed;
}

json::CValue JsonOf(const TFact& fact) {
  json::CValue value{{"name", fact.name}, {"unit", fact.unit}};
  if (fact.isTruth) value.Set("truth", true);
  if (!fact.words.empty()) value.Set("words", json::CValue::ArrayOf(fact.words));
  return value;
}

json::CValue JsonOf(const TModel::TInstrument& instrument) {
  json::CValue value{{"name", instrument.name}, {"title", instrument.title},           {"class", instrument.className},
                     {"unit", instrument.unit}, {"outputUnit", instrument.outputUnit}, {"kind", instrument.facts.kind}};
  json::CValue limits = json::CValue::Object();
  for (std::size_t i = 0; i < std::size(kWords); ++i) {
    value.Set(std::string(kWords[i]) + "Element", Maybe(instrument.elements[i]));
    limits.Set(kWords[i], Pair(Maybe(instrument.limits[i].low), Maybe(instrument.limits[i].high)));
  }
  value.Set("limits", limits);
  value.Set("receivers", json::CValue::ArrayOf(instrument.receivers));
  value.Set("cascade", {{"wishFrom", instrument.wishFrom.empty() ? json::CValue(nullptr) : instrument.wishFrom},
                        {"outputTo", json::CValue::ArrayOf(instrument.outputTo)}});
  value.Set("words", json::CValue::ArrayOf(instrument.facts.words));
  const auto factOf = [](const TFact& fact) { return JsonOf(fact); };
  value.Set("settings", Listed(instrument.facts.settings, factOf));
  json::CValue learnt = Listed(instrument.facts.learnt, factOf);
  if (!instrument.facts.learnt.empty()) learnt.Append({{"name", "changed"}, {"unit", "s"}});
  value.Set("learnt", learnt);
  value.Set("parameters", nullptr);
  if (instrument.parameters) {
    value.Set("parameters", Listed(*instrument.parameters, [](const TParameter& parameter) {
                return json::CValue{{"name", parameter.name},
                                    {"low", Maybe(parameter.low)},
                                    {"high", Maybe(parameter.high)},
                                    {"openLow", parameter.isOpenLow}};
              }));
  }
  value.Set("pane", nullptr);
  if (instrument.pane) value.Set("pane", {{"width", instrument.pane->width}, {"height", instrument.pane->height}});
  return value;
}

json::CValue JsonOf(const TModel::TOperator& allowed) {
  constexpr const char* kKinds[] = {"element", "parameters", "procedure"};
  json::CValue value{{"name", allowed.name},
                     {"kind", kKinds[allowed.kind]},
                     {"element", Maybe(allowed.element)},
                     {"instrument", Maybe(allowed.instrument)}};
  if (allowed.kind == TOperator::kProcedure) value.Set("procedure", allowed.procedure);
  value.Set("arguments", static_cast<std::uint64_t>(allowed.arguments));
  value.Set("range", allowed.range ? Pair(allowed.range->first, allowed.range->second) : json::CValue(nullptr));
  value.Set("rate", Maybe(allowed.rate));
  value.Set("switch", allowed.isSwitch);
  return value;
}

TModel::TInstrument InstrumentOf(const runtime::CApplication& application, const CFrames& frames, std::size_t index) {
  const runtime::CInstrumentHandle handle = application.Instrument(index);
  TModel::TInstrument instrument;
  instrument.name = handle.Name();
  instrument.title = handle.Title();
  instrument.className = handle.ClassName();
  instrument.unit = handle.QuantityUnit();
  instrument.outputUnit = handle.OutputUnit();
  instrument.facts = frames.Facts()[index];
  const auto shown = [&](const std::optional<runtime::TItem>& item) {
    return item ? frames.Layout().ShownIndex(*item) : std::nullopt;
  };
  instrument.elements[kWishNow] = shown(instrument.facts.wish);
  instrument.elements[kValueNow] = shown(instrument.facts.value);
  if (!handle.OutputItems().empty()) instrument.elements[kOutputNow] = shown(handle.OutputItems()[0]);
  for (std::size_t i = 0; i < std::size(kPanes); ++i) {
    if (!handle.IsMeter() || i == kValueNow) instrument.limits[i] = handle.Limits(kPanes[i]);
  }
  instrument.receivers = handle.Receivers();
  instrument.pane = frames.Panes().SizeOf(index);
  return instrument;
}

// Whose output is whose wish.
void Chain(std::vector<TModel::TInstrument>* instruments) {
  for (TModel::TInstrument& outer : *instruments) {
    const std::optional<std::size_t> output = outer.elements[kOutputNow];
    for (TModel::TInstrument& inner : *instruments) {
      if (!output || inner.elements[kWishNow] != output) continue;
      inner.wishFrom = outer.name;
      outer.outputTo.push_back(inner.name);
    }
  }
}

TModel::TOperator OperatorOf(const runtime::CApplication& application, const TFrameLayout& layout,
                             const TOperator& allowed) {
  TModel::TOperator shown = {allowed.name, allowed.kind, {}, {}, allowed.procedure, 0, allowed.range, allowed.rate};
  if (allowed.kind == TOperator::kElement) {
    shown.element = layout.ShownIndex(allowed.item);
    shown.isSwitch = application.Element(allowed.item.element).isBoolean;
    return shown;
  }
  shown.instrument = allowed.instrument;
  const std::size_t letters = allowed.procedure.rfind("__");
  if (letters != std::string::npos) shown.arguments = allowed.procedure.size() - letters - 2;
  return shown;
}

}  // namespace

const char* NameOf(EPhase phase) {
  constexpr const char* kNames[] = {"starting", "running", "ended", "interrupted", "failed"};
  return kNames[static_cast<std::size_t>(phase)];
}

std::string TModel::Json(bool mayOperate) const {
  json::CValue value{{"application", application},
                     {"title", title.empty() ? application : title},
                     {"period", period},
                     {"duration", duration},
                     {"language", language},
                     {"mayOperate", mayOperate},
                     {"isLive", isLive},
                     {"isPlant", isPlant},
                     {"isDry", isDry},
                     {"phase", NameOf(phase)},
                     {"startWall", startWall}};
  value.Set(
      "elements", Listed(elements, [](const TShown& shown) {
        return json::CValue{
            {"name", shown.name}, {"unit", shown.unit}, {"boolean", shown.isBoolean}, {"integer", shown.isInteger}};
      }));
  value.Set("inputs", Listed(inputs, [](const TInput& input) {
              return json::CValue{{"element", Maybe(input.element)},
                                  {"connection", static_cast<std::uint64_t>(input.connection)}};
            }));
  value.Set("outputs", Listed(outputs, [](const std::optional<std::size_t>& output) {
              return json::CValue{{"element", Maybe(output)}};
            }));
  value.Set("connections", json::CValue::ArrayOf(connections));
  value.Set("instruments", Listed(instruments, [](const TInstrument& instrument) { return JsonOf(instrument); }));
  value.Set("operators", Listed(operators, [](const TOperator& allowed) { return JsonOf(allowed); }));
  value.Set("alarms", Listed(alarms, [](const TAlarm& alarm) {
              json::CValue read = json::CValue::Array();
              for (const std::size_t element : alarm.elements) read.Append(static_cast<std::uint64_t>(element));
              return json::CValue{{"name", alarm.name},
                                  {"priority", panel::NameOf(alarm.priority)},
                                  {"text", alarm.text},
                                  {"connection", Maybe(alarm.connection)},
                                  {"elements", std::move(read)}};
            }));
  return value.Text();
}

TModel ModelOf(const runtime::CApplication& application, const TDefinition& definition, const TParameterSets& sets,
               const CSite* site, const CAlarms& alarms, const CFrames& frames) {
  TModel model;
  model.application = application.Name();
  model.title = definition.title;
  model.period = application.Period();
  model.duration = application.Duration();
  const TFrameLayout& layout = frames.Layout();
  for (const TShownItem& shown : layout.items) {
    model.elements.push_back({shown.name, shown.unit, shown.isBoolean, shown.isInteger});
  }
  for (std::size_t i = 0; site != nullptr && i < site->ConnectionCount(); ++i) {
    model.connections.push_back(site->ConnectionName(i));
  }
  for (std::size_t i = 0; site != nullptr && i < site->InputCount(); ++i) {
    model.inputs.push_back({layout.ShownIndex(site->InputItem(i)), site->InputConnection(i)});
  }
  for (std::size_t i = 0; site != nullptr && i < site->OutputCount(); ++i) {
    model.outputs.push_back(layout.ShownIndex(site->OutputItem(i)));
  }
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    model.instruments.push_back(InstrumentOf(application, frames, i));
  }
  Chain(&model.instruments);
  for (const TOperator& allowed : definition.operators) {
    model.operators.push_back(OperatorOf(application, layout, allowed));
    if (allowed.kind != TOperator::kParameters) continue;
    model.instruments[allowed.instrument].parameters = ParametersOf(application.Instrument(allowed.instrument), sets);
  }
  for (std::size_t i = 0; i < alarms.Count(); ++i) {
    TModel::TAlarm alarm = {alarms.Name(i), alarms.Priority(i), alarms.Text(i), alarms.Connection(i), {}};
    // Behind those of the text stand those of connections.
    for (std::size_t k = 0; i < definition.alarms.size() && k < definition.alarms[i].elements.size(); ++k) {
      if (const auto shown = layout.ShownIndex({definition.alarms[i].elements[k], 0})) alarm.elements.push_back(*shown);
    }
    model.alarms.push_back(std::move(alarm));
  }
  return model;
}

}  // namespace panel
