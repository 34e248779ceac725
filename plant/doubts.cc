// What connections hardly mean, and what the regulators make of them.
#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <utility>

#include "plant/plant.h"

namespace plant {
namespace {

constexpr char kContinuous[] = "__R";  // the letters of an output's events
constexpr char kTwoState[] = "__l";

bool IsNameCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// Without blanks, which no meaning hangs on here.
std::string Packed(std::string_view text) {
  std::string packed;
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c)) == 0) packed += c;
  }
  return packed;
}

// Whether an expression reads an item; of an array with an index that changes any.
bool Reads(const std::string& expression, const std::string& item) {
  const std::string element = item.substr(0, item.find('['));
  for (std::size_t at = expression.find(element); at != std::string::npos; at = expression.find(element, at + 1)) {
    const std::size_t end = at + element.size();
    if (at > 0 && IsNameCharacter(expression[at - 1])) continue;
    if (end < expression.size() && IsNameCharacter(expression[end])) continue;
    if (element == item || expression.compare(at, item.size(), item) == 0) return true;
    if (end + 1 < expression.size() && std::isdigit(static_cast<unsigned char>(expression[end + 1])) == 0) return true;
  }
  return false;
}

bool AsksFor(const std::string& text, const std::string& item) {
  return text.find("good(" + item + ")") != std::string::npos || text.find("age(" + item + ")") != std::string::npos;
}

class CRegulatorDoubts {
 public:
  CRegulatorDoubts(const runtime::CApplication& doubted, const TConnections& all, std::vector<TPlantDoubt>* found)
      : connections(all), text(Packed(doubted.Text())), doubts(found) {}

  void Doubt(const runtime::CInstrumentHandle& instrument);

 private:
  const runtime::TDefinitionEntry* EntryOf(std::string_view keyword) const;
  std::string ValueOf(std::string_view keyword) const;
  bool IsAskedFor(const std::string& item) const;
  void DoubtUse(const runtime::CInstrumentHandle& instrument, const TInput& input, bool isContinuous);

  const TConnections& connections;
  const std::string text;  // of the application
  std::vector<TPlantDoubt>* doubts;
  std::vector<runtime::TDefinitionEntry> definition;
};

const runtime::TDefinitionEntry* CRegulatorDoubts::EntryOf(std::string_view keyword) const {
  const auto found = std::find_if(definition.begin(), definition.end(), [&](const runtime::TDefinitionEntry& entry) {
    return entry.block.empty() && entry.keyword == keyword;
  });
  return found == definition.end() ? nullptr : &*found;
}

std::string CRegulatorDoubts::ValueOf(std::string_view keyword) const {
  const runtime::TDefinitionEntry* const entry = EntryOf(keyword);
  return entry == nullptr ? "" : Packed(entry->value);
}

// By its own entries, or by way of an element that something else computes.
bool CRegulatorDoubts::IsAskedFor(const std::string& item) const {
  const std::string condition = ValueOf("condition");
  const std::string when = ValueOf("track_when");
  if (AsksFor(condition, item) || AsksFor(when, item)) return true;
  return (!condition.empty() || !when.empty()) && (text.find("=good(" + item + ")") != std::string::npos ||
                                                   text.find("=notgood(" + item + ")") != std::string::npos);
}

void CRegulatorDoubts::DoubtUse(const runtime::CInstrumentHandle& instrument, const TInput& input, bool isContinuous) {
  const runtime::TDefinitionEntry* used = nullptr;
  for (const char* keyword : {"expression", "wish_value"}) {
    const runtime::TDefinitionEntry* const entry = EntryOf(keyword);
    if (used == nullptr && entry != nullptr && Reads(Packed(entry->value), input.name)) used = entry;
  }
  if (used == nullptr) return;
  const std::string way = isContinuous ? "track = OUTPUT; track_when = not good(" + input.name + ");"
                                       : "condition = good(" + input.name + ");";
  if (!IsAskedFor(input.name)) {
    doubts->push_back({used->offset,
                       instrument.Name() + " goes on with the last good " + input.name +
                           " while that isn't good: nothing in it asks; " + way + " holds",
                       true});
    return;
  }
  const runtime::TDefinitionEntry* const condition = EntryOf("condition");
  if (!isContinuous || condition == nullptr || !AsksFor(Packed(condition->value), input.name)) return;
  doubts->push_back({condition->offset,
                     "the condition of " + instrument.Name() + " holds its output while " + input.name +
                         " isn't good, but integrates the gap on return; " + way + " returns without a bump",
                     true});
}

void CRegulatorDoubts::Doubt(const runtime::CInstrumentHandle& instrument) {
  if (instrument.PaneCount() == 0) return;
  definition = instrument.Definition();
  const std::vector<runtime::TNamed> events = instrument.Events();
  const bool isContinuous = !events.empty() && events[0].name.ends_with(kContinuous);
  const bool isTwoState = !events.empty() && events[0].name.ends_with(kTwoState);
  bool isConnected = false;
  for (const TConnection& connection : connections) {
    for (const TInput& input : connection.inputs) DoubtUse(instrument, input, isContinuous);
    const std::vector<runtime::TItem>& items = instrument.OutputItems();
    for (const TOutput& output : connection.outputs) {
      isConnected = isConnected || std::find(items.begin(), items.end(), output.item) != items.end();
    }
  }
  const runtime::TDefinitionEntry* const inverse = EntryOf("inverse");
  if (!isTwoState || !isConnected || inverse == nullptr) return;
  doubts->push_back({inverse->offset,
                     "by inverse the output of " + instrument.Name() +
                         " is true while its condition is false, and false is what it gives below its band",
                     false});
}

}  // namespace

std::vector<TPlantDoubt> Doubts(const runtime::CApplication& application, const TConnections& connections) {
  std::vector<TPlantDoubt> doubts;
  for (const TConnection& connection : connections) {
    for (const TInput& input : connection.inputs) {
      if (connection.kind != TConnection::kMqtt || input.stale) continue;
      doubts.push_back({input.offset,
                        input.name + " is never stale: without stale = S; it is good until " + connection.name +
                            " is lost, however old",
                        true});
    }
    for (const TOutput& output : connection.outputs) {
      if (output.onLoss != EOnLoss::kKeep) continue;
      doubts.push_back({output.offset, output.name + " keeps its value for as long as what it needs is bad", true});
    }
  }
  CRegulatorDoubts regulators(application, connections, &doubts);
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) regulators.Doubt(application.Instrument(i));
  std::stable_sort(doubts.begin(), doubts.end(),
                   [](const TPlantDoubt& one, const TPlantDoubt& other) { return one.offset < other.offset; });
  return doubts;
}

}  // namespace plant
