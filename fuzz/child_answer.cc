// Any bytes as what the child process of a conformance check answers. They are an
// outcome with its text, or no answer; whatever they say can be printed and is JSON.
#include <algorithm>

#include "fuzz/harness.h"
#include "validation/child.h"

namespace {

bool IsOneLine(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < 0x20) || c == 0x7F; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = fuzz::CBytes(data, size).Rest();
  validation::TEnd end;
  const bool isWhole = validation::ReadAnswer(bytes, &end);
  fuzz::Check(isWhole || (end.outcome == validation::EOutcome::kCrashed && end.message.empty() && end.answer.empty()),
              "what is no whole answer says nothing");
  if (!isWhole) return 0;
  fuzz::Check(end.outcome != validation::EOutcome::kCrashed, "who answers has not crashed");
  fuzz::Check(end.answer.size() + end.message.size() + 2 == bytes.size(), "an answer is taken whole");
  validation::TReport report;
  report.classes = {validation::Printable(end.answer)};
  report.results.push_back({"any/case", report.classes[0], "", end.outcome, validation::Printable(end.message)});
  fuzz::Check(IsOneLine(report.classes[0]) && IsOneLine(report.results[0].message), "what is printed is one line");
  fuzz::Check(!validation::Json(report).empty(), "what is printed is JSON");
  return 0;
}
