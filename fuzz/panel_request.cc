// Any bytes as a request to a panel: METHOD TARGET, headers, an empty line, a
// body. It is refused by a status of the list with a sentence, or it asks for
// what its token may have, within the bounds of what there is.
#include <algorithm>
#include <array>
#include <cmath>
#include <variant>

#include "fuzz/harness.h"
#include "panel/server/request.h"

namespace {

std::string TakeLine(std::string* text) {
  const std::size_t end = std::min(text->find('\n'), text->size());
  std::string line = text->substr(0, end);
  text->erase(0, end + 1);
  return line;
}

panel::TRequest RequestOf(std::string text) {
  panel::TRequest request;
  std::string first = TakeLine(&text);
  const std::size_t blank = std::min(first.find(' '), first.size());
  request.method = first.substr(0, blank);
  request.target = blank < first.size() ? first.substr(blank + 1) : "";
  for (std::string line = TakeLine(&text); !line.empty(); line = TakeLine(&text)) {
    const std::size_t colon = std::min(line.find(": "), line.size());
    request.headers.emplace_back(line.substr(0, colon), colon < line.size() ? line.substr(colon + 2) : "");
  }
  request.body = text;
  return request;
}

bool Has(const panel::TRequest& request, const std::string& value) {
  return std::any_of(request.headers.begin(), request.headers.end(),
                     [&value](const auto& header) { return header.second == value; });
}

const panel::TTokens kTokens = {std::string(32, 'a'), std::string(32, 'b')};
const panel::TGate kGate = panel::MakeGate({"127.0.0.1", "[::1]"}, 8480, false, {"oven.example"}, kTokens);

panel::TNames Names() {
  panel::TNames names;
  names.instruments = {"heater", "cooler"};
  names.alarms = {"too_hot", "oven_io.lost"};
  names.operators = {{"set_point", panel::TOperator::kElement, "", {}, 0, std::pair(20.0, 180.0)},
                     {"heater.parameters", panel::TOperator::kParameters, "heater", {"r0", "tI", "tD"}, 0, {}},
                     {"heater.save", panel::TOperator::kProcedure, "heater", {}, 2, {}}};
  names.isPlant = true;
  return names;
}
const panel::TNames kNames = Names();

void CheckAsked(const panel::TRequest& request, const panel::TAsked& asked) {
  using enum panel::TAsked::EWhat;
  fuzz::Check(asked.what == kFile || Has(request, kTokens.see) || Has(request, kTokens.operate), "it has a token");
  fuzz::Check(
      asked.items.size() <= panel::kMostItems && asked.points <= panel::kMostPoints && asked.count <= panel::kMostLines,
      "an answer has its bounds");
  fuzz::Check(asked.instrument < kNames.instruments.size() && std::isfinite(asked.from) && std::isfinite(asked.to) &&
                  asked.width <= panel::kLargestPicture && asked.height <= panel::kLargestPicture,
              "a picture has its bounds");
  if (asked.what != kCommand) return;
  const panel::TCommand& command = asked.command;
  fuzz::Check(asked.mayOperate && request.method == "POST" && Has(request, kTokens.operate),
              "a command has the token for it");
  fuzz::Check(command.valueCount <= panel::kMostValues &&
                  command.thing < std::max(kNames.operators.size(), kNames.alarms.size()),
              "it is of something");
  fuzz::Check(std::all_of(command.values, command.values + command.valueCount,
                          [](double value) { return std::isfinite(value); }),
              "its values are finite");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const panel::TRequest request = RequestOf(fuzz::CBytes(data, size).Rest());
  const auto decided = panel::Decide(request, kGate, kNames);
  const std::optional<panel::TRefusal> early = panel::RefusalOfHead(request, kGate);
  if (const auto* const asked = std::get_if<panel::TAsked>(&decided)) {
    fuzz::Check(!early, "what is taken isn't refused by its head");
    CheckAsked(request, *asked);
    return 0;
  }
  const auto& refusal = std::get<panel::TRefusal>(decided);
  constexpr std::array kStatuses = {400, 401, 403, 404, 405, 409, 413, 421};
  fuzz::Check(std::find(kStatuses.begin(), kStatuses.end(), refusal.status) != kStatuses.end() && !refusal.why.empty(),
              "it is refused by a status with a sentence");
  fuzz::Check(!early || (early->status == refusal.status && early->why == refusal.why), "for the same reason");
  return 0;
}
