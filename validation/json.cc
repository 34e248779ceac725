#include <cstdio>

#include "validation/validation.h"

namespace validation {

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
      quoted += escaped;
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string Field(const char* name, const std::string& value) { return Quoted(name) + ": " + value; }

std::string Case(const TResult& result) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.3f", result.seconds);
  return "    {" + Field("name", Quoted(result.name)) + ", " +
         Field("class", result.className.empty() ? "null" : Quoted(result.className)) + ", " +
         Field("outcome", Quoted(Word(result.outcome))) + ", " + Field("message", Quoted(result.message)) + ", " +
         Field("claim", Quoted(result.claim)) + ", " + Field("seconds", seconds) + "}";
}

}  // namespace

std::string Json(const TReport& report) {
  std::string text = "{\n  \"schema\": 1,\n  " + Field("plugin", Quoted(report.plugin)) + ",\n  \"classes\": [";
  for (std::size_t i = 0; i < report.classes.size(); ++i) text += (i == 0 ? "" : ", ") + Quoted(report.classes[i]);
  text += "],\n  \"cases\": [";
  for (std::size_t i = 0; i < report.results.size(); ++i) text += (i == 0 ? "\n" : ",\n") + Case(report.results[i]);
  text += "\n  ],\n  \"summary\": {";
  for (const EOutcome outcome :
       {EOutcome::kPassed, EOutcome::kWarning, EOutcome::kSkipped, EOutcome::kFailed, EOutcome::kCrashed}) {
    text += (outcome == EOutcome::kPassed ? "" : ", ") + Field(Word(outcome), std::to_string(report.CountOf(outcome)));
  }
  return text + "},\n  " + Field("conforms", report.Conforms() ? "true" : "false") + "\n}\n";
}

}  // namespace validation
