#include <cmath>
#include <nlohmann/json.hpp>

#include "validation/validation.h"

namespace validation {

namespace {

using TJson = nlohmann::ordered_json;

TJson Case(const TResult& result) {
  return {{"name", result.name},
          {"class", result.className.empty() ? TJson() : TJson(result.className)},
          {"outcome", Word(result.outcome)},
          {"message", result.message},
          {"claim", result.claim},
          {"seconds", std::round(result.seconds * 1000) / 1000}};
}

}  // namespace

std::string Json(const TReport& report) {
  TJson document = {{"schema", 1},
                    {"plugin", report.plugin},
                    {"classes", report.classes},
                    {"cases", TJson::array()},
                    {"summary", TJson::object()},
                    {"conforms", report.Conforms()}};
  for (const TResult& result : report.results) document["cases"].push_back(Case(result));
  for (const EOutcome outcome :
       {EOutcome::kPassed, EOutcome::kWarning, EOutcome::kSkipped, EOutcome::kFailed, EOutcome::kCrashed}) {
    document["summary"][Word(outcome)] = report.CountOf(outcome);
  }
  // What a plug-in says may be no UTF-8; those bytes are replaced.
  return document.dump(2, ' ', false, TJson::error_handler_t::replace) + "\n";
}

}  // namespace validation
