#include "json/json.h"

#include <cmath>
#include <utility>

#include "validation/validation.h"

namespace validation {

namespace {

json::CValue Case(const TResult& result) {
  return {{"name", result.name},
          {"class", result.className.empty() ? json::CValue() : json::CValue(result.className)},
          {"outcome", Word(result.outcome)},
          {"message", result.message},
          {"claim", result.claim},
          {"seconds", std::round(result.seconds * 1000) / 1000}};
}

}  // namespace

std::string Json(const TReport& report) {
  json::CValue cases = json::CValue::Array();
  for (const TResult& result : report.results) cases.Append(Case(result));
  json::CValue summary;
  for (const EOutcome outcome :
       {EOutcome::kPassed, EOutcome::kWarning, EOutcome::kSkipped, EOutcome::kFailed, EOutcome::kCrashed}) {
    summary.Set(Word(outcome), report.CountOf(outcome));
  }
  const json::CValue document = {{"schema", 1},
                                 {"plugin", report.plugin},
                                 {"classes", json::CValue::ArrayOf(report.classes)},
                                 {"cases", std::move(cases)},
                                 {"summary", std::move(summary)},
                                 {"conforms", report.Conforms()}};
  return document.Text(2) + "\n";
}

}  // namespace validation
