#include "workbench/commands/loop_doubts.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

#include "workbench/run/state_reader.h"
#include "workbench/text.h"

namespace workbench {
namespace {

constexpr char kGain[] = "r0";               // the column of a learning class's state, and the keyword's meaning
constexpr std::uint64_t kWork = 20'000'000;  // evaluations of lines of the process, for all loops
constexpr double kShareOfRange = 0.01;       // of the output's pane, by which the output is moved

const runtime::TDefinitionEntry* EntryOf(const std::vector<runtime::TDefinitionEntry>& definition,
                                         std::string_view keyword) {
  const auto found = std::find_if(definition.begin(), definition.end(),
                                  [&](const runtime::TDefinitionEntry& entry) { return entry.keyword == keyword; });
  return found == definition.end() ? nullptr : &*found;
}

// The element that an entry consists of.
bool FindItem(const runtime::CApplication& application, const runtime::TDefinitionEntry* entry, std::string* name,
              runtime::TItem* item) {
  if (entry == nullptr) return false;
  std::string problem;
  *name = Trim(entry->value);
  return application.FindItem(*name, item, &problem);
}

class CLoopDoubts {
 public:
  CLoopDoubts(const runtime::CApplication& doubted, const TReferences& known);

  std::vector<runtime::TDoubt> Find();

 private:
  bool MayBeWritten(const runtime::TItem& item) const;
  bool ScriptSays(const std::string& part) const { return script.find(part) != std::string_view::npos; }
  void DoubtValue(const runtime::CInstrumentHandle& instrument);
  void DoubtGain(const runtime::CInstrumentHandle& instrument, std::uint64_t work);
  std::optional<double> GainOf(const runtime::CInstrumentHandle& instrument) const;

  const runtime::CApplication& application;
  const TReferences& references;
  std::string_view script;   // the text from the first script on; empty without one
  bool isConnected = false;  // to a plant or a unit, whose inputs or outputs are written
  std::vector<runtime::TDoubt> doubts;
};

CLoopDoubts::CLoopDoubts(const runtime::CApplication& doubted, const TReferences& known)
    : application(doubted), references(known) {
  const std::string_view text = application.Text();
  isConnected =
      text.find("end_connections") != std::string_view::npos || text.find("fmu = \"") != std::string_view::npos;
  const std::size_t begin = text.find("\nscript");
  if (application.HasScript()) script = text.substr(begin == std::string_view::npos ? 0 : begin);
}

// A script may write an element by its name, or whichever it likes.
bool CLoopDoubts::MayBeWritten(const runtime::TItem& item) const {
  return isConnected || application.WriterOf(item) != nullptr || ScriptSays("data[") ||
         ScriptSays("data." + application.Element(item.element).name);
}

std::vector<runtime::TDoubt> CLoopDoubts::Find() {
  const std::size_t count = application.InstrumentCount();
  for (std::size_t index = 0; index < count; ++index) {
    const runtime::CInstrumentHandle instrument = application.Instrument(index);
    if (instrument.PaneCount() == 0) continue;
    DoubtValue(instrument);
    DoubtGain(instrument, kWork / count);
  }
  return std::move(doubts);
}

void CLoopDoubts::DoubtValue(const runtime::CInstrumentHandle& instrument) {
  const std::vector<runtime::TDefinitionEntry> definition = instrument.Definition();
  const runtime::TDefinitionEntry* const entry = EntryOf(definition, "expression");
  std::string value;
  runtime::TItem item;
  if (!FindItem(application, entry, &value, &item) || MayBeWritten(item)) return;
  doubts.push_back({entry->offset, "nothing computes " + value + ", which " + instrument.Name() +
                                       " regulates: it stays as it is, unless an --input drives it"});
}

// Where the regulator has a gain that stays: one that learns finds its own.
std::optional<double> CLoopDoubts::GainOf(const runtime::CInstrumentHandle& instrument) const {
  const CReference* const reference = ReferenceOf(references, instrument.ClassName());
  if (reference == nullptr) return std::nullopt;
  std::vector<double> learns{0.0};
  if (instrument.Call(reference->Learning().whileTrue, &learns) && learns[0] != 0.0) return std::nullopt;
  for (const runtime::TStateColumn& column : reference->State()) {
    if (column.name != kGain) continue;
    std::vector<double> value;
    CStateReader({column}).Read(instrument, &value);
    if (std::isfinite(value[0]) && value[0] != 0.0) return value[0];
  }
  return std::nullopt;
}

void CLoopDoubts::DoubtGain(const runtime::CInstrumentHandle& instrument, std::uint64_t work) {
  const std::optional<double> gain = GainOf(instrument);
  const std::vector<runtime::TDefinitionEntry> definition = instrument.Definition();
  const runtime::TDefinitionEntry* const inverse = EntryOf(definition, "inverse");
  std::string output;
  std::string value;
  runtime::TItem outputItem;
  runtime::TItem valueItem;
  if (!gain || !FindItem(application, EntryOf(definition, "output"), &output, &outputItem) ||
      !FindItem(application, EntryOf(definition, "expression"), &value, &valueItem) ||
      ScriptSays(instrument.Name() + ".OnOutput")) {
    return;
  }
  const runtime::TPane pane = instrument.Pane(runtime::kOutputPane);
  const double now = application.ElementValue(outputItem.element, outputItem.item);
  const double step = kShareOfRange * (pane.rangeTo - pane.rangeFrom);
  const int direction = application.Direction(outputItem, valueItem, now + step > pane.rangeTo ? -step : step, work);
  const bool lowers = (*gain > 0.0) == (inverse == nullptr);  // a value above the wish lowers the output
  if (direction == 0 || (direction > 0) == lowers) return;
  std::uint32_t place = instrument.Offset();
  for (const TKeyword& keyword : ReferenceOf(references, instrument.ClassName())->Keywords()) {
    const runtime::TDefinitionEntry* const entry = EntryOf(definition, keyword.keyword);
    if (entry != nullptr && keyword.meaning.starts_with(kGain)) place = entry->offset;
  }
  if (inverse != nullptr) place = inverse->offset;
  doubts.push_back({place, "the gain of " + instrument.Name() + " has the wrong sign: a higher " + output +
                               (direction > 0 ? " raises " : " lowers ") + value + ", and a " + value +
                               " above the wish makes " + output + (lowers ? " lower" : " higher")});
}

}  // namespace

std::vector<runtime::TDoubt> LoopDoubts(const runtime::CApplication& application, const TReferences& references) {
  return CLoopDoubts(application, references).Find();
}

}  // namespace workbench
