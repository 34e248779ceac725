#include "panel/panel_reader.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/block_entries.h"
#include "runtime/runtime.h"

namespace panel {

using runtime::CBlockText;
using runtime::TPlaces;

constexpr const char* kPriorities[] = {"critical", "high", "medium", "low"};

const char* NameOf(EPriority priority) { return kPriorities[static_cast<std::size_t>(priority)]; }

namespace {

struct TReadPanel {
  TDefinition& definition;
  const TParameterSets& sets;
};

// Of what has the name already.
template <typename TNamedEntry>
void CheckOneOfAName(const CBlockText& text, const std::vector<TNamedEntry>& before, const std::string& name,
                     const char* what, std::uint32_t offset) {
  for (const TNamedEntry& other : before) {
    if (other.name != name) continue;
    text.Fail(offset, std::string("a second ") + what + " '" + name + "': the first is in " +
                          runtime::Where(text.Application(), other.offset, offset));
  }
}

// --- Operators ------------------------------------------------------------------------

std::optional<std::size_t> InstrumentNamed(const runtime::CApplication& application, const std::string& name) {
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    if (application.Instrument(i).Name() == name) return i;
  }
  return std::nullopt;
}

// `Name` of `Name__letters`.
std::string BareName(const std::string& procedure) { return procedure.substr(0, procedure.find("__")); }

std::string ExpectProcedure(CBlockText& text, const runtime::CInstrumentHandle& instrument, const std::string& word) {
  const std::uint32_t place = text.LastOffset();
  std::vector<std::string> known = {"parameters"};
  std::vector<std::string> meant;
  for (const runtime::TNamed& procedure : instrument.Procedures()) {
    if (procedure.name == word) return word;
    known.push_back(BareName(procedure.name));
    if (known.back() == word) meant.push_back(procedure.name);
  }
  if (meant.empty()) {
    text.Fail(place,
              "a " + instrument.ClassName() + " has no procedure '" + word + "'" + CBlockText::MeantBy(word, known));
  }
  if (meant.size() > 1) text.Fail(place, "expected " + meant[0] + " or " + meant[1]);
  return meant[0];
}

// INSTRUMENT.parameters or INSTRUMENT.PROCEDURE
void ExpectPart(CBlockText& text, const TReadPanel& read, TOperator& one) {
  const runtime::CInstrumentHandle instrument = text.Application().Instrument(one.instrument);
  text.Expect(".");
  const std::string word = text.ExpectName("parameters or a procedure");
  one.name = instrument.Name() + "." + word;
  if (word != "parameters") {
    one.kind = TOperator::kProcedure;
    one.procedure = ExpectProcedure(text, instrument, word);
    return;
  }
  one.kind = TOperator::kParameters;
  if (!read.sets.contains(instrument.ClassName())) {
    text.Fail(text.LastOffset(), "a " + instrument.ClassName() + " has no parameters that are set as a whole");
  }
}

void ExpectElement(CBlockText& text, TOperator& one) {
  const runtime::CApplication& application = text.Application();
  const runtime::TBlockWord word = text.Peek();
  std::vector<std::string> known;
  for (std::size_t i = 0; i < application.ElementCount(); ++i) known.push_back(application.Element(i).name);
  if (word.kind == runtime::TBlockWord::kName && std::find(known.begin(), known.end(), word.text) == known.end()) {
    for (std::size_t i = 0; i < application.InstrumentCount(); ++i) known.push_back(application.Instrument(i).Name());
    text.Fail(word.offset,
              "'" + word.text + "' is no data element and no instrument" + CBlockText::MeantBy(word.text, known));
  }
  one.item = text.ExpectItem();
  const runtime::TElement element = application.Element(one.item.element);
  one.name = element.name;
  if (element.length > 0) one.name += "[" + std::to_string(one.item.item) + "]";
  if (const char* const writer = application.WriterOf(one.item)) {
    text.Fail(one.offset, "'" + one.name + "' is written by " + writer + ": no operator can set it");
  }
}

constexpr runtime::TEntry<TOperator> kOperatorEntries[] = {
    {"range", [](CBlockText& text, TOperator& one) { one.range = runtime::ExpectRising(text); }},
    {"rate", [](CBlockText& text, TOperator& one) { one.rate = runtime::ExpectAbove(text, 0.0, "a number above 0"); }},
};

void CheckFit(const CBlockText& text, const TPlaces& places, const TOperator& one) {
  for (const auto& [entry, place] : places) {
    if (one.kind != TOperator::kElement) text.Fail(place, entry + " is for data elements only");
    if (text.Application().Element(one.item.element).isBoolean) {
      text.Fail(place, "'" + one.name + "' is boolean: it has no " + entry);
    }
  }
  using TLimits = std::numeric_limits<std::int32_t>;
  if (one.range && text.Application().Element(one.item.element).isInteger &&
      (one.range->first < TLimits::min() || one.range->second > TLimits::max())) {
    text.Fail(places.find("range")->second, "'" + one.name + "' is a whole number of 32 bits: its range is beyond it");
  }
}

void ReadOperator(CBlockText& text, TReadPanel& read) {
  TOperator one;
  const runtime::TBlockWord word = text.Peek();
  one.offset = word.offset;
  const std::size_t behind = word.offset + word.text.size();
  const std::string_view whole = text.Application().Text();
  const auto instrument = InstrumentNamed(text.Application(), word.text);
  if (instrument && behind < whole.size() && whole[behind] == '.') {
    one.instrument = *instrument;
    text.ExpectName("an instrument");
    ExpectPart(text, read, one);
  } else {
    ExpectElement(text, one);
  }
  CheckOneOfAName(text, read.definition.operators, one.name, "operator", one.offset);
  CheckFit(text, runtime::ReadEntries(text, kOperatorEntries, "end_operator", one), one);
  read.definition.operators.push_back(std::move(one));
}

// --- Alarms ---------------------------------------------------------------------------

struct TReadAlarm {
  std::optional<runtime::CBlockExpression> when;
  std::optional<runtime::CBlockExpression> clear;
  double onDelay = 0.0;
  double offDelay = 0.0;
  EPriority priority = EPriority::kMedium;
  std::string text;
  std::vector<std::size_t> elements;
};

// The elements that the text names from one word to another.
std::vector<std::size_t> ElementsNamed(const runtime::CApplication& application, std::uint32_t first,
                                       std::uint32_t last) {
  std::vector<std::size_t> named;
  const std::string_view all = application.Text();
  const auto isOfName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  for (std::size_t begin = first; begin <= last;) {
    std::size_t end = begin;
    while (end < all.size() && isOfName(all[end])) ++end;
    for (std::size_t i = 0; i < application.ElementCount(); ++i) {
      if (application.Element(i).name == all.substr(begin, end - begin)) named.push_back(i);
    }
    begin = std::max(begin + 1, end);
  }
  return named;
}

double ExpectDelay(CBlockText& text) {
  const std::uint32_t place = text.Peek().offset;
  const double seconds = text.ExpectNumber();
  if (seconds < 0.0) text.Fail(place, "expected a number of seconds of at least 0");
  return seconds;
}

constexpr runtime::TEntry<TReadAlarm> kAlarmEntries[] = {
    {"when",
     [](CBlockText& text, TReadAlarm& alarm) {
       const std::uint32_t first = text.Peek().offset;
       alarm.when = text.ExpectExpression(true);
       alarm.elements = ElementsNamed(text.Application(), first, text.LastOffset());
     }},
    {"clear", [](CBlockText& text, TReadAlarm& alarm) { alarm.clear = text.ExpectExpression(true); }},
    {"delay",
     [](CBlockText& text, TReadAlarm& alarm) {
       alarm.onDelay = ExpectDelay(text);
       text.Expect(",");
       alarm.offDelay = ExpectDelay(text);
     }},
    {"priority",
     [](CBlockText& text, TReadAlarm& alarm) {
       const std::string word = text.ExpectOneOf({std::begin(kPriorities), std::end(kPriorities)});
       alarm.priority =
           static_cast<EPriority>(std::find(std::begin(kPriorities), std::end(kPriorities), word) - kPriorities);
     }},
    {"text", [](CBlockText& text, TReadAlarm& alarm) { alarm.text = text.ExpectText(); }},
};

void ReadAlarm(CBlockText& text, TReadPanel& read) {
  const std::uint32_t offset = text.Peek().offset;
  const std::string name = text.ExpectName("the alarm's name");
  CheckOneOfAName(text, read.definition.alarms, name, "alarm", offset);
  TReadAlarm alarm;
  const TPlaces places = runtime::ReadEntries(text, kAlarmEntries, "end_alarm", alarm);
  runtime::Require(text, places, "when", " = CONDITION");
  read.definition.alarms.push_back({name, *alarm.when, alarm.clear, alarm.onDelay, alarm.offDelay, alarm.priority,
                                    std::move(alarm.text), offset, std::move(alarm.elements)});
}

constexpr runtime::TEntry<TReadPanel> kPanelEntries[] = {
    {"title",
     [](CBlockText& text, TReadPanel& read) {
       if (!read.definition.title.empty()) text.Fail(text.Peek().offset, "a second 'title'");
       read.definition.title = text.ExpectText();
     }},
    {"operator", ReadOperator, runtime::EEntryForm::kBlock},
    {"alarm", ReadAlarm, runtime::EEntryForm::kBlock},
};

}  // namespace

void CPanelReader::Read(CBlockText& text) {
  definition.isGiven = true;
  TReadPanel read{definition, sets};
  runtime::ReadEntries(text, kPanelEntries, "", read);
}

}  // namespace panel
