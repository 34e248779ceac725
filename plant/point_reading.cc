#include "plant/point_reading.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "plant/modbus/packing.h"
#include "plant/scale.h"
#include "plant/words.h"
#include "runtime/block_entries.h"
#include "runtime/runtime.h"

namespace plant {

using runtime::CBlockText;
using TNeededInput = CConnectionsReader::TNeed;
template <typename TPart>
using TPointEntry = runtime::TEntry<TPart>;

namespace {

constexpr int kLastAddress = 65535;

template <typename TEnum, typename TWords>
TEnum ExpectWord(CBlockText& text, const TWords& words) {
  const std::vector<std::string_view> all(std::begin(words), std::end(words));
  const std::string word = text.ExpectOneOf(all);
  return static_cast<TEnum>(std::find(all.begin(), all.end(), word) - all.begin());
}

// --- Points -------------------------------------------------------------------------

// Documents of devices count registers of either table on, from 30001 or 40001.
std::uint16_t ExpectAddress(CBlockText& text, ETable table) {
  const runtime::TBlockWord word = text.Peek();
  const bool isHexadecimal = word.text.starts_with("0x") || word.text.starts_with("0X");
  const int base = table == ETable::kInput ? 30001 : table == ETable::kHolding ? 40001 : 0;
  const std::int64_t address = text.ExpectInteger(0, base == 0 ? kLastAddress : 999999);
  if (base != 0 && address >= base && !isHexadecimal) {
    const std::int64_t longBase = base * 10 - 9;  // 300001 or 400001
    TRegisters meant;
    meant.table = table;
    meant.address = static_cast<std::uint16_t>(address >= longBase ? address - longBase : address - base);
    text.Fail(word.offset, "addresses count from 0, as in the protocol: " + std::to_string(address) + " is " +
                               NameOf(meant) + " (one so high is written in hexadecimal)");
  }
  if (address > kLastAddress) text.Fail(word.offset, "integer out of range, expected 0 to 65535");
  return static_cast<std::uint16_t>(address);
}

}  // namespace

std::uint32_t ExpectPlace(CBlockText& text, std::initializer_list<ETable> tables, TRegisters* registers) {
  std::vector<std::string_view> words;
  for (const ETable table : tables) words.push_back(kTableWords[static_cast<std::size_t>(table)]);
  const std::string word = text.ExpectOneOf(words);
  registers->table =
      static_cast<ETable>(std::find(std::begin(kTableWords), std::end(kTableWords), word) - std::begin(kTableWords));
  text.Expect("[");
  const std::uint32_t place = text.Peek().offset;
  registers->address = ExpectAddress(text, registers->table);
  text.Expect("]");
  return place;
}

namespace {

// And a type behind a comma: a bit, or of registers uint16 where there is none.
void ReadRegisters(CBlockText& text, std::initializer_list<ETable> tables, TRegisters* registers) {
  const std::uint32_t place = ExpectPlace(text, tables, registers);
  const bool isBit = HoldsBits(registers->table);
  registers->type = isBit ? EType::kBit : EType::kUint16;
  if (text.TakeIf(",")) {
    const std::vector<std::string_view> types(std::begin(kTypeWords) + (isBit ? 0 : 1),
                                              isBit ? std::begin(kTypeWords) + 1 : std::end(kTypeWords));
    const auto index = ExpectWord<std::size_t>(text, types);
    registers->type = static_cast<EType>(index + (isBit ? 0 : 1));
  }
  if (registers->address + WordsOf(registers->type) - 1 > kLastAddress) {
    text.Fail(place, "the value would reach beyond the last register, 65535");
  }
}

void ReadTopic(CBlockText& text, TPoint* point) {
  const std::uint32_t place = text.Peek().offset;
  point->topic = text.ExpectText();
  if (point->topic.empty() || point->topic.find_first_of("+#") != std::string::npos) {
    text.Fail(place, "expected a topic without + and #");
  }
  if (text.TakeIf(",")) point->isJson = !text.ExpectOneOf({"json"}).empty();
}

void ReadScale(CBlockText& text, TPoint* point) {
  TScale& scale = point->scale.emplace();
  double* const ends[] = {&scale.rawFrom, &scale.rawTo, &scale.from, &scale.to};
  for (std::size_t i = 0; i < std::size(ends); ++i) {
    if (i > 0) text.Expect(",");
    const std::uint32_t place = text.Peek().offset;
    *ends[i] = text.ExpectNumber();
    if (i % 2 == 1 && *ends[i] == *ends[i - 1]) text.Fail(place, "the ends of a scale differ");
  }
}

// --- Inputs -------------------------------------------------------------------------

constexpr TPointEntry<TInput> kRange = {"range",
                                        [](CBlockText& text, TInput& input) { input.range = ExpectRising(text); }};
constexpr TPointEntry<TInput> kStale = {
    "stale", [](CBlockText& text, TInput& input) { input.stale = ExpectAbove(text, 0.0, kSeconds); }};
constexpr TPointEntry<TInput> kModbusInput[] = {
    {"from",
     [](CBlockText& text, TInput& input) {
       ReadRegisters(text, {ETable::kCoil, ETable::kDiscrete, ETable::kInput, ETable::kHolding},
                     &input.point.registers);
     }},
    {"order",
     [](CBlockText& text, TInput& input) { input.point.registers.order = ExpectWord<EOrder>(text, kOrderWords); }},
    {"scale", [](CBlockText& text, TInput& input) { ReadScale(text, &input.point); }},
    kRange,
    kStale,
};
constexpr TPointEntry<TInput> kMqttInput[] = {
    {"from", [](CBlockText& text, TInput& input) { ReadTopic(text, &input.point); }},
    kRange,
    kStale,
};

// --- Outputs ------------------------------------------------------------------------

struct TReadOutput {
  TOutput output;
  std::vector<TNeededInput> needs;
};

void ReadNeeds(CBlockText& text, TReadOutput& read) {
  do {
    const std::uint32_t place = text.Peek().offset;
    const runtime::TItem item = text.ExpectItem();
    read.needs.push_back({NameOf(text.Application(), item), place});
    read.output.needs.push_back(read.needs.back().name);
  } while (text.TakeIf(","));
}

void ReadOnLoss(CBlockText& text, TReadOutput& read) {
  read.output.onLoss = ExpectWord<EOnLoss>(text, std::initializer_list<std::string_view>{"safe", "hold", "keep"});
  if (read.output.onLoss != EOnLoss::kHold) return;
  text.Expect(",");
  read.output.holdFor = ExpectAbove(text, 0.0, kSeconds);
}

void ReadSafe(CBlockText& text, TReadOutput& read) {
  read.output.safe = !read.output.isBoolean ? text.ExpectNumber() : text.ExpectBoolean() ? 1.0 : 0.0;
}

constexpr TPointEntry<TReadOutput> kLimit = {
    "limit", [](CBlockText& text, TReadOutput& read) { read.output.limit = ExpectRising(text); }};
constexpr TPointEntry<TReadOutput> kRate = {
    "rate", [](CBlockText& text, TReadOutput& read) { read.output.rate = ExpectAbove(text, 0.0, "a number above 0"); }};
constexpr TPointEntry<TReadOutput> kNeeds = {"needs", ReadNeeds};
constexpr TPointEntry<TReadOutput> kOnLoss = {"on_loss", ReadOnLoss};
constexpr TPointEntry<TReadOutput> kSafe = {"safe", ReadSafe};
constexpr TPointEntry<TReadOutput> kLatch = {
    "latch", [](CBlockText&, TReadOutput& read) { read.output.latches = true; }, runtime::EEntryForm::kFlag};
constexpr TPointEntry<TReadOutput> kModbusOutput[] = {
    {"to",
     [](CBlockText& text, TReadOutput& read) {
       ReadRegisters(text, {ETable::kCoil, ETable::kHolding}, &read.output.point.registers);
     }},
    {"order", [](CBlockText& text,
                 TReadOutput& read) { read.output.point.registers.order = ExpectWord<EOrder>(text, kOrderWords); }},
    {"scale", [](CBlockText& text, TReadOutput& read) { ReadScale(text, &read.output.point); }},
    kLimit,
    kRate,
    kNeeds,
    kOnLoss,
    kSafe,
    kLatch,
};
constexpr TPointEntry<TReadOutput> kMqttOutput[] = {
    {"to", [](CBlockText& text, TReadOutput& read) { ReadTopic(text, &read.output.point); }},
    {"every", [](CBlockText& text, TReadOutput& read) { read.output.point.every = ExpectAbove(text, 0.0, kSeconds); }},
    kLimit,
    kRate,
    kNeeds,
    kOnLoss,
    kSafe,
    kLatch,
};

// What a boolean element can't have, and what only one can be.
void CheckFit(const CBlockText& text, const runtime::TPlaces& places, const std::string& name, bool isBoolean,
              const TConnection& connection, const TPoint& point, const char* place) {
  for (const char* entry : {"scale", "range", "limit", "rate"}) {
    const auto given = places.find(entry);
    if (isBoolean && given != places.end()) text.Fail(given->second, "'" + name + "' is boolean: it has no " + entry);
  }
  if (connection.kind != TConnection::kModbus) return;
  const EType type = point.registers.type;
  if (type == EType::kBit && !isBoolean) {
    text.Fail(places.find(place)->second, "'" + name + "' is no boolean: a bit needs one");
  }
  if (isBoolean && (type == EType::kFloat || type == EType::kDouble)) {
    text.Fail(places.find(place)->second, "'" + name + "' is boolean: expected a bit or a whole number");
  }
  if (type == EType::kBit && places.contains("order")) {
    text.Fail(places.find("order")->second, "a bit has no order");
  }
}

void CheckOneWriter(const CBlockText& text, const TInput& input, const TReadConnection& read) {
  const runtime::CApplication& application = text.Application();
  const auto check = [&](const TConnection& connection) {
    for (const TInput& other : connection.inputs) {
      if (other.item != input.item) continue;
      text.Fail(input.offset, "a second input '" + input.name + "': " + connection.name + " in " +
                                  Where(application, other.offset, input.offset) + " reads it");
    }
  };
  for (const TConnection& connection : *read.before) check(connection);
  check(read.connection);
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application.Instrument(i);
    for (const runtime::TItem& output : instrument.OutputItems()) {
      if (output.element != input.item.element) continue;
      text.Fail(input.offset, "'" + input.name + "' is an input, and written by " + instrument.Name() + " in " +
                                  Where(application, instrument.Offset(), input.offset) + " as well");
    }
  }
  if (application.Element(input.item.element).isOutput) {
    text.Fail(input.offset, "'" + input.name + "' is an input, and written by an instrument's output as well");
  }
}

}  // namespace

void ReadInput(CBlockText& text, TReadConnection& read) {
  TInput input;
  input.offset = text.Peek().offset;
  input.item = text.ExpectItem();
  input.name = NameOf(text.Application(), input.item);
  input.isBoolean = text.Application().Element(input.item.element).isBoolean;
  CheckOneWriter(text, input, read);
  const bool isModbus = read.connection.kind == TConnection::kModbus;
  const runtime::TPlaces places = isModbus ? ReadEntries(text, kModbusInput, "end_input", input)
                                           : ReadEntries(text, kMqttInput, "end_input", input);
  Require(text, places, "from", isModbus ? " = TABLE[ADDRESS]" : " = \"TOPIC\"");
  CheckFit(text, places, input.name, input.isBoolean, read.connection, input.point, "from");
  read.connection.inputs.push_back(std::move(input));
}

namespace {

// What the type can't hold is brought to what it can: never `safe`.
void CheckSafe(const CBlockText& text, const TOutput& output, const TConnection& connection, std::uint32_t place) {
  const double safe = *output.safe;
  if (output.limit && (safe < output.limit->first || safe > output.limit->second)) {
    text.Fail(place, "the safe value lies within the limit, from " + Number(output.limit->first) + " to " +
                         Number(output.limit->second));
  }
  if (connection.kind != TConnection::kModbus) return;
  const EType type = output.point.registers.type;
  const double raw = ToRaw(safe, output.point.scale);
  bool isLimited = false;
  Packed(raw, type, EOrder::kAbcd, &isLimited);
  if (isLimited) {
    text.Fail(place, "no " + std::string(kTypeWords[static_cast<std::size_t>(type)]) +
                         " holds the safe value: it would be " + Number(raw));
  }
}

}  // namespace

void ReadOutput(CBlockText& text, TReadConnection& read) {
  TReadOutput target;
  TOutput& output = target.output;
  output.offset = text.Peek().offset;
  output.item = text.ExpectItem();
  output.name = NameOf(text.Application(), output.item);
  output.isBoolean = text.Application().Element(output.item.element).isBoolean;
  for (const TOutput& other : read.connection.outputs) {
    if (other.item != output.item) continue;
    text.Fail(output.offset, "a second output '" + output.name + "' of this connection: the first is in " +
                                 Where(text.Application(), other.offset, output.offset));
  }
  const bool isModbus = read.connection.kind == TConnection::kModbus;
  const runtime::TPlaces places = isModbus ? ReadEntries(text, kModbusOutput, "end_output", target)
                                           : ReadEntries(text, kMqttOutput, "end_output", target);
  const std::uint32_t end = text.LastOffset();
  Require(text, places, "to", isModbus ? " = TABLE[ADDRESS]" : " = \"TOPIC\"");
  CheckFit(text, places, output.name, output.isBoolean, read.connection, output.point, "to");
  if (isModbus && !output.safe) {
    text.Fail(end, "expected safe = VALUE before this end: what is written when '" + output.name + "' can't be told");
  }
  if (output.safe) CheckSafe(text, output, read.connection, places.find("safe")->second);
  if (output.needs.empty() && places.contains("on_loss")) {
    text.Fail(places.find("on_loss")->second, "on_loss needs needs = INPUT");
  }
  if (!output.needs.empty() && !output.safe && output.onLoss != EOnLoss::kKeep) {
    text.Fail(places.find("needs")->second, "needs needs safe = VALUE, or on_loss = keep");
  }
  if (output.latches && !output.safe) text.Fail(places.find("latch")->second, "latch needs safe = VALUE");
  read.needs->insert(read.needs->end(), target.needs.begin(), target.needs.end());
  read.connection.outputs.push_back(std::move(output));
}

}  // namespace plant
