#include "panel/operators.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

namespace panel {
namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

std::string InDigits(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

// Whether the element's type holds it: null, or what is expected.
const char* ProblemOf(const runtime::TElement& element, double value) {
  using TLimits = std::numeric_limits<std::int32_t>;
  if (element.isBoolean) return value == 0.0 || value == 1.0 ? nullptr : "true or false is expected";
  if (!std::isfinite(value)) return "a number is expected";
  if (!element.isInteger) return nullptr;
  return value == std::trunc(value) && value >= TLimits::min() && value <= TLimits::max()
             ? nullptr
             : "a whole number of 32 bits is expected";
}

// What is wrong with it; empty: nothing.
std::string ProblemOf(const TParameter& parameter, double value) {
  const std::string said = parameter.name + " = " + InDigits(value) + ": ";
  if (!std::isfinite(value)) return said + "a number is expected";
  if (parameter.low && (parameter.isOpenLow ? value <= *parameter.low : value < *parameter.low)) {
    return said + (parameter.isOpenLow ? "a number above " : "a number of at least ") + InDigits(*parameter.low) +
           " is expected";
  }
  if (parameter.high && value > *parameter.high) {
    return said + "a number of at most " + InDigits(*parameter.high) + " is expected";
  }
  return {};
}

// A parameter of an instrument as it is now; none: its procedure doesn't resolve.
std::optional<double> ValueOf(const runtime::CInstrumentHandle& instrument, const TParameter& parameter) {
  std::vector<double> arguments(parameter.arguments, 0.0);
  if (!instrument.Call(parameter.reads, &arguments)) return std::nullopt;
  return arguments[parameter.argument];
}

}  // namespace

void TChange::Refuse(const std::string& reason) {
  isDone = false;
  SetText(why, reason);
}

TParameterSet ParametersOf(const runtime::CInstrumentHandle& instrument, const TParameterSets& sets) {
  TParameterSet found;
  const auto ofClass = sets.find(instrument.ClassName());
  if (ofClass == sets.end()) return found;
  for (const TParameter& parameter : ofClass->second) {
    if (found.size() < kMostValues && ValueOf(instrument, parameter)) found.push_back(parameter);
  }
  return found;
}

COperators::COperators(const TDefinition& definition, const TParameterSets& sets, runtime::CApplication& theApplication)
    : application(theApplication) {
  for (const TOperator& allowed : definition.operators) {
    TEntry& entry = entries.emplace_back();
    entry.allowed = &allowed;
    if (allowed.kind == TOperator::kElement) {
      entry.element = application.Element(allowed.item.element);
      continue;
    }
    entry.instrument.emplace(application.Instrument(allowed.instrument));
    if (allowed.kind == TOperator::kParameters) entry.parameters = ParametersOf(*entry.instrument, sets);
    if (allowed.kind == TOperator::kProcedure)
      entry.letters = allowed.procedure.substr(allowed.procedure.find("__") + 2);
  }
}

void COperators::Apply(const TCommand& command, TChange* change) {
  constexpr TOperator::EKind kOf[] = {TOperator::kElement, TOperator::kParameters, TOperator::kParameters,
                                      TOperator::kProcedure};
  static_assert(static_cast<int>(EDeed::kSet) == 0 && static_cast<int>(EDeed::kCall) == 3);
  if (command.thing >= entries.size() || command.valueCount > kMostValues ||
      entries[command.thing].allowed->kind != kOf[static_cast<std::size_t>(command.deed)]) {
    return change->Refuse("the text allows no operator that");
  }
  TEntry& entry = entries[command.thing];
  switch (command.deed) {
    case EDeed::kSet:
      return Set(entry, command, change);
    case EDeed::kParameters:
      return SetParameters(entry, command, change);
    case EDeed::kTakeBack:
      return TakeBack(entry, change);
    default:
      return Call(entry, command, change);
  }
}

void COperators::Set(TEntry& entry, const TCommand& command, TChange* change) {
  const TOperator& allowed = *entry.allowed;
  if (command.valueCount != 1) return change->Refuse("one number is expected");
  const double value = command.values[0];
  if (const char* const problem = ProblemOf(entry.element, value)) {
    return change->Refuse(InDigits(value) + ": " + problem);
  }
  if (allowed.range && (value < allowed.range->first || value > allowed.range->second)) {
    return change->Refuse(InDigits(value) + " is out of its range, " + InDigits(allowed.range->first) + " to " +
                          InDigits(allowed.range->second));
  }
  if (const char* const writer = application.WriterOf(allowed.item)) {
    return change->Refuse(allowed.name + " is written by " + writer);
  }
  const double old = application.ElementValue(allowed.item.element, allowed.item.item);
  std::string error;
  if (!application.WriteElement(allowed.item, allowed.rate ? old : value, &error)) return change->Refuse(error);
  entry.ramp.reset();
  if (allowed.rate) entry.ramp = {value, old, old};
  change->isDone = true;
  change->count = 1;
  change->old[0] = old;
  change->now[0] = value;
}

void COperators::Ramp(double time) {
  const double seconds = time - rampedAt;
  rampedAt = time;
  for (TEntry& entry : entries) {
    if (!entry.ramp) continue;
    TRamp& ramp = *entry.ramp;
    const runtime::TItem item = entry.allowed->item;
    if (application.ElementValue(item.element, item.item) != ramp.written) {
      entry.ramp.reset();
      continue;
    }
    const double most = *entry.allowed->rate * seconds;
    const double left = ramp.target - ramp.reached;
    const bool isThere = std::abs(left) <= most;
    ramp.reached = isThere ? ramp.target : ramp.reached + std::copysign(most, left);
    application.SetElementValue(item, ramp.reached);
    ramp.written = application.ElementValue(item.element, item.item);
    if (isThere) entry.ramp.reset();
  }
}

void COperators::SetParameters(TEntry& entry, const TCommand& command, TChange* change) {
  const TParameterSet& parameters = entry.parameters;
  if (command.valueCount != parameters.size()) {
    return change->Refuse(std::to_string(parameters.size()) + " numbers are expected");
  }
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const std::string problem = ProblemOf(parameters[i], command.values[i]);
    if (!problem.empty()) return change->Refuse(problem);
  }
  Replace(entry, command.values, change);
}

void COperators::TakeBack(TEntry& entry, TChange* change) {
  if (!entry.before) return change->Refuse("there is no set of parameters before this one");
  const std::vector<double> values = *entry.before;
  Replace(entry, values.data(), change);
  if (change->isDone) entry.before.reset();
}

// All or none: what reads a parameter resolves where what sets it does.
void COperators::Replace(TEntry& entry, const double* values, TChange* change) {
  const TParameterSet& parameters = entry.parameters;
  std::vector<double> before;
  for (const TParameter& parameter : parameters) {
    const std::optional<double> value = ValueOf(*entry.instrument, parameter);
    if (!value) return change->Refuse(parameter.name + " is no parameter of the present law");
    before.push_back(*value);
  }
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const std::string& procedure = parameters[i].sets;
    if (i > 0 && parameters[i - 1].sets == procedure) continue;
    std::vector<double> arguments(parameters[i].arguments, 0.0);
    for (std::size_t j = i; j < parameters.size() && parameters[j].sets == procedure; ++j) {
      arguments[parameters[j].argument] = values[j];
    }
    entry.instrument->Call(procedure, &arguments);
  }
  change->isDone = true;
  change->count = parameters.size();
  std::copy(before.begin(), before.end(), change->old);
  std::copy_n(values, parameters.size(), change->now);
  entry.before = std::move(before);
}

void COperators::Call(TEntry& entry, const TCommand& command, TChange* change) {
  if (command.valueCount != entry.letters.size()) {
    return change->Refuse(std::to_string(entry.letters.size()) + " numbers are expected");
  }
  std::vector<double> arguments(command.values, command.values + command.valueCount);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    runtime::TElement argument;
    argument.isBoolean = entry.letters[i] == 'l';
    argument.isInteger = entry.letters[i] == 'n';
    if (const char* const problem = ProblemOf(argument, arguments[i])) {
      return change->Refuse(InDigits(arguments[i]) + ": " + problem);
    }
  }
  if (!entry.instrument->Call(entry.allowed->procedure, &arguments)) {
    return change->Refuse(entry.allowed->name + " can't be called now");
  }
  change->isDone = true;
  change->count = command.valueCount;
  std::fill_n(change->old, change->count, kUnknown);
  std::copy_n(command.values, change->count, change->now);
}

}  // namespace panel
