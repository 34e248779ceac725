#include "plant/plant.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string_view>
#include <utility>

#include "plant/words.h"

namespace plant {
namespace {

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr double kPollsToStale = 3.0;
constexpr double kConnecting = 1.0;              // seconds, beside the answers of first polls
constexpr double kAnswersAwaited = 2.0;          // time-outs
constexpr timespec kBetweenLooks{0, 2'000'000};  // nanoseconds
// A dry run tells a change of such a share, and no more often.
constexpr double kNoticeable = 0.05;
constexpr double kBetweenTold = 1.0;  // seconds

double Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double SecondsToStale(const TConnection& connection, const TInput& input, double period) {
  if (input.stale) return *input.stale;
  return connection.kind == TConnection::kMqtt ? kNever : kPollsToStale * std::max(connection.every, period);
}

double ValueOf(const runtime::CApplication& application, runtime::TItem item) {
  return application.ElementValue(item.element, item.item);
}

}  // namespace

bool IsPlantColumn(std::string_view name) {
  constexpr const char* kEnds[] = {kQualityColumn, kWrittenColumn, kAgeColumn, kInputColumn};
  return std::any_of(std::begin(kEnds), std::end(kEnds), [&](const char* end) { return name.ends_with(end); });
}

CPlant::CPlant(const TConnections& theConnections, TPlantOptions theOptions)
    : connections(theConnections), options(std::move(theOptions)) {}

CPlant::~CPlant() = default;

// --- Before the run -------------------------------------------------------------------

bool CPlant::Open(runtime::CApplication& theApplication, std::string* error) {
  application = &theApplication;
  Gather(*application);
  FindInstruments(*application);
  if (made.empty()) return true;
  isWriting.assign(made.size(), false);
  if (options.past != nullptr) {
    BeginWriting(0);
    return true;
  }
  links = CLinks::Start(made, application->Period(), options.isDry, error);
  if (links == nullptr) return false;
  if (!AwaitLinks())
    options.report({0.0, "", "not every connection has been read yet as a whole: to others nothing is written"});
  BeginWriting(0);
  return true;
}

void CPlant::Gather(const runtime::CApplication& asked) {
  std::set<std::string> named;  // by columns
  std::size_t readings = 0;
  std::size_t numbers = 0;
  for (const TConnection& connection : connections) {
    const auto& names = options.connected;
    const bool isMade = std::find(names.begin(), names.end(), connection.name) != names.end();
    if (isMade) made.push_back(connection);
    for (const TInput& input : connection.inputs) {
      TWatched one{&input, &connection, {}, {input, SecondsToStale(connection, input, asked.Period())}, {}};
      if (isMade) one.reading = readings++;
      if (isMade) written.push_back(input.item);
      for (const TLoss& loss : options.losses) {
        if (loss.name == input.name || loss.name == connection.name) one.losses.push_back(loss);
      }
      application->SetConnected(input.item);
      if (options.isRecorded && application->AsksForAge(input.item)) aged.push_back(inputs.size());
      inputs.push_back(std::move(one));
    }
    for (const TOutput& output : connection.outputs) {
      TSteered one(output, connection);
      if (isMade) one.number = numbers++;
      if (isMade) one.link = made.size() - 1;
      one.written = kNothing;
      outputs.push_back(std::move(one));
    }
  }
  values.assign(numbers, TWanted());
  for (TSteered& one : outputs) {
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      const auto& needs = one.output->needs;
      if (std::find(needs.begin(), needs.end(), inputs[i].input->name) != needs.end()) one.needs.push_back(i);
      if (inputs[i].input->item == one.output->item) one.input = i;
    }
  }
}

// Of several outputs of an element one is its own: the first that has a safe value,
// or else the first.
void CPlant::FindInstruments(const runtime::CApplication& asked) {
  std::vector<TSteered*> order;
  for (TSteered& one : outputs) order.push_back(&one);
  std::stable_partition(order.begin(), order.end(), [](const TSteered* one) { return one->output->safe.has_value(); });
  std::vector<runtime::TItem> owned;
  for (TSteered* const one : order) {
    const runtime::TItem item = one->output->item;
    const bool isOwner = std::find(owned.begin(), owned.end(), item) == owned.end();
    one->column = (isOwner ? "" : one->connection->name + ".") + one->output->name + std::string(kWrittenColumn);
    if (!isOwner) continue;
    owned.push_back(item);
    const bool isInput =
        std::any_of(inputs.begin(), inputs.end(), [&](const TWatched& input) { return input.input->item == item; });
    one->meetsProcess = !isInput && (asked.WriterOf(item) == nullptr || asked.Element(item.element).isOutput);
    for (std::size_t i = 0; i < asked.InstrumentCount(); ++i) {
      const runtime::CInstrumentHandle instrument = asked.Instrument(i);
      const std::vector<runtime::TItem>& items = instrument.OutputItems();
      if (std::find(items.begin(), items.end(), item) == items.end()) continue;
      one->instrument.emplace(instrument);
      one->hasSteps = items.size() > 1;
    }
  }
}

// Whether all of them are ready to be written to.
bool CPlant::AwaitLinks() {
  double longest = 0.0;
  for (const TConnection& connection : made) longest = std::max(longest, connection.timeout);
  const double until = Now() + kConnecting + kAnswersAwaited * longest;
  while (!links->IsReady() && links->IsAlive() && Now() < until) {
    if (options.interruptionAsked != nullptr && options.interruptionAsked()) break;
    clock_nanosleep(CLOCK_MONOTONIC, 0, &kBetweenLooks, nullptr);
  }
  return links->IsReady();
}

// By the links that had their first whole poll since. Goes on from what stands in the
// plant.
void CPlant::BeginWriting(std::uint64_t period) {
  for (std::size_t link = 0; link < isWriting.size(); ++link) {
    if (isWriting[link] || !IsReady(link, period)) continue;
    isWriting[link] = true;
    TPlantOptions::TFound told;
    for (TSteered& one : outputs) {
      if (one.link != link) continue;
      if (one.instrument) one.instrument->TrackFromOutside(std::nullopt);
      const std::optional<double> found =
          options.past != nullptr ? options.past->Found(one.column) : links->ReadBack(*one.number);
      told.emplace_back(one.column, found);
      if (!found) continue;
      one.guard.StandAt(*found);
      if (options.isDry) one.told = found;
      if (one.instrument && !one.hasSteps) one.instrument->StartFrom(*found);
    }
    if (options.begun) options.begun(made[link].name, period, told);
  }
}

bool CPlant::IsReady(std::size_t link, std::uint64_t period) const {
  return options.past != nullptr ? options.past->HasBegun(made[link].name, period) : links->IsReady(link);
}

// --- The trace --------------------------------------------------------------------------

std::vector<std::string> CPlant::Columns() const {
  std::vector<std::string> columns;
  for (const TWatched& one : inputs) columns.push_back(one.input->name + std::string(kQualityColumn));
  for (const TSteered& one : outputs) columns.push_back(one.column);
  for (const std::size_t one : aged) columns.push_back(inputs[one].input->name + kAgeColumn);
  return columns;
}

runtime::TLinkCell CPlant::Cell(std::size_t column) const {
  if (column < inputs.size()) return {NameOf(inputs[column].watch.Quality()), 0.0};
  column -= inputs.size();
  if (column < outputs.size()) return {nullptr, outputs[column].written};
  return {nullptr, inputs[aged[column - outputs.size()]].age};
}

// --- Periods ------------------------------------------------------------------------------

// What is simulated goes on from itself, and meets what is written. What the process
// makes of inputs begins with the plant's.
void CPlant::BeforeProcess(double time) {
  if (application->PeriodsDone() == 0) Latch(time);
  for (TWatched& one : inputs) {
    if (!one.isReplaced) continue;
    application->SetElementValue(one.input->item, one.own);
    one.isReplaced = false;
  }
  for (TSteered& one : outputs) {
    if (!one.meetsProcess || std::isnan(one.written)) continue;
    one.wanted = ValueOf(*application, one.output->item);
    one.isLeft = one.wanted != one.written;
    if (one.isLeft) application->SetElementValue(one.output->item, one.written);
  }
}

bool CPlant::BeforePeriod(double time, std::string* error) {
  for (TSteered& one : outputs) {
    if (one.isLeft) application->SetElementValue(one.output->item, one.wanted);
    one.isLeft = false;
  }
  const bool isAlive = links == nullptr || links->IsAlive();
  if (links != nullptr || options.past != nullptr) BeginWriting(application->PeriodsDone() + 1);
  if (application->PeriodsDone() > 0) Latch(time);
  for (TWatched& one : inputs) {
    if (!one.reading) JudgeSimulated(one, time);
  }
  if (isAlive) return true;
  TakeMessages(time);
  *error = "the links to the plant are lost: their process has ended";
  return false;
}

// What the links have, or had in the earlier run.
void CPlant::Latch(double time) {
  if (made.empty()) return;
  const std::vector<TReading>* const readings = links != nullptr ? &links->Read() : nullptr;
  const double now = links == nullptr ? 0.0 : Now();
  for (TWatched& one : inputs) {
    if (!one.reading) continue;
    if (options.past != nullptr) {
      Follow(one);
    } else {
      one.watch.Judge((*readings)[*one.reading], now);
      if (one.watch.Value()) application->SetElementValue(one.input->item, *one.watch.Value());
      one.age = one.watch.Age(now);
    }
    Tell(one, time);
  }
}

// The same as in the earlier run.
void CPlant::Follow(TWatched& one) {
  const std::optional<CPast::TLatched> latched = options.past->Latched(one.input->name);
  if (!latched) {
    one.watch.Judge(TReading(), 0.0);
    return;
  }
  one.watch.Take(latched->quality, latched->value);
  one.age = latched->age;
  application->SetElementValue(one.input->item, latched->value);
}

void CPlant::JudgeSimulated(TWatched& one, double time) {
  const double forgiven = runtime::kForgivenRounding * application->Period();
  const bool isTakenAway = std::any_of(one.losses.begin(), one.losses.end(), [&](const TLoss& loss) {
    return loss.from <= time + forgiven && time < loss.to - forgiven;
  });
  one.own = ValueOf(*application, one.input->item);
  one.watch.JudgeSimulated(one.own, isTakenAway, time);
  one.isReplaced = one.watch.Quality() != EQuality::kGood && one.watch.Value();
  if (one.isReplaced) application->SetElementValue(one.input->item, *one.watch.Value());
  one.age = one.watch.Age(time);
  Tell(one, time);
}

// To expressions, and to people where it became bad or good.
void CPlant::Tell(TWatched& one, double time) {
  const runtime::TItem item = one.input->item;
  const bool isGood = one.watch.Quality() == EQuality::kGood;
  if (application->AsksForAge(item)) application->SetQuality(item, isGood, one.age);
  if (isGood != one.isReported) return;
  one.isReported = !isGood;
  if (isGood) {
    Note(time, *one.connection, one.input->name + " is good again");
    return;
  }
  const std::string held = one.watch.Value() ? Number(*one.watch.Value()) + " is held" : "there was no good value yet";
  Report(time, *one.connection, one.input->name + " is " + NameOf(one.watch.Quality()) + ": " + held);
}

bool CPlant::AfterPeriod(double time, std::string*) {
  for (TSteered& one : outputs) {
    one.wanted = ValueOf(*application, one.output->item);
    if (IsWritten(one)) {
      Steer(one, time);
    } else if (one.instrument && one.output->safe) {
      one.instrument->TrackFromOutside(one.hasSteps ? 0.0 : *one.output->safe);
    }
    if (!one.number) continue;
    values[*one.number] = {one.written, one.input ? inputs[*one.input].watch.Quality() : EQuality::kGood};
  }
  if (links == nullptr) return true;
  if (!options.isDry) links->Write(values);
  links->Beat();
  TakeMessages(time);
  return true;
}

void CPlant::Steer(TSteered& one, double time) {
  const bool areGood = std::all_of(one.needs.begin(), one.needs.end(), [this](std::size_t input) {
    return inputs[input].watch.Quality() == EQuality::kGood;
  });
  const TGuarded guarded = one.guard.Decide(time, one.wanted, areGood);
  one.written = guarded.written;
  one.why = guarded.why;
  if (options.isDry && one.number) TellDry(one, time);
  if (!one.instrument) return;
  if (one.hasSteps) {
    one.instrument->TrackFromOutside(guarded.tracked ? std::optional<double>(0.0) : std::nullopt);
    return;
  }
  one.instrument->TrackFromOutside(guarded.tracked);
  if (!guarded.tracked && one.written != one.wanted) one.instrument->SetPreviousOutput(one.written);
}

void CPlant::TellDry(TSteered& one, double time) {
  const TOutput& output = *one.output;
  double span = std::max(std::abs(one.written), std::abs(one.told.value_or(0.0)));
  if (output.limit) {
    span = output.limit->second - output.limit->first;
  } else if (output.point.scale) {
    span = std::abs(output.point.scale->to - output.point.scale->from);
  }
  const bool isFirst = one.toldAt == 0.0;
  const double change = one.told ? std::abs(one.written - *one.told) : kNever;
  if (change == 0.0 || (!output.isBoolean && change < kNoticeable * span)) return;
  if (!isFirst && time - one.toldAt < kBetweenTold) return;
  std::string text =
      "would write " + output.name + " = " + Number(one.written) + " to " + NameOf(*one.connection, output.point);
  if (one.told) text += std::string(isFirst ? ", where there is " : ", after ") + Number(*one.told);
  Note(time, *one.connection, text);
  one.told = one.written;
  one.toldAt = time;
}

// --- A panel ---------------------------------------------------------------------------------

CPlant::TInputNow CPlant::Input(std::size_t input) const {
  const TWatched& one = inputs[input];
  return {one.input, static_cast<std::size_t>(one.connection - connections.data()), one.watch.Quality(), one.age};
}

CPlant::TOutputNow CPlant::Output(std::size_t output) const {
  const TSteered& one = outputs[output];
  TOutputNow now{one.output, one.why, one.written, {}, options.isDry && one.number};
  const auto bad = std::find_if(one.needs.begin(), one.needs.end(),
                                [this](std::size_t input) { return inputs[input].watch.Quality() != EQuality::kGood; });
  if (bad != one.needs.end()) now.heldBy = *bad;
  return now;
}

void CPlant::Stop() {
  for (TSteered& one : outputs) one.guard.Stop();
}

void CPlant::Release() {
  for (TSteered& one : outputs) one.guard.Release();
}

void CPlant::Unlatch() {
  for (TSteered& one : outputs) one.guard.Acknowledge();
}

// --- Messages -------------------------------------------------------------------------------

void CPlant::Report(double time, const TConnection& connection, const std::string& text) const {
  options.report({time, connection.name, text});
}

void CPlant::Note(double time, const TConnection& connection, const std::string& text) const {
  options.note({time, connection.name, text});
}

void CPlant::TakeMessages(double time) {
  for (std::string message; links->TakeMessage(&message);) options.report({time, "", message});
}

bool CPlant::Finish(std::string* error) {
  if (links == nullptr) return true;
  TakeMessages(application->Time());
  return links->Finish(error);
}

std::vector<CPlant::TLinkSummary> CPlant::Summary() const {
  std::vector<TLinkSummary> summary;
  if (links == nullptr) return summary;  // nothing is connected, or a record takes their place
  for (std::size_t i = 0; i < made.size(); ++i) summary.push_back({made[i].name, links->CountsOf(i)});
  return summary;
}

}  // namespace plant
