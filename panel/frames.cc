#include "panel/frames.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <utility>

namespace panel {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
// What instruments answer when they are asked is new once in so many frames: a part of
// them is asked for each, which takes a frame no longer than others.
constexpr std::uint64_t kTurns = 20;

double EpochNow() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

std::uint32_t FlagIf(bool holds, std::uint32_t flag) { return holds ? flag : 0; }

// The gravest of what an output is written with.
EMode ModeOf(EOutput output) {
  switch (output) {
    case EOutput::kStopped:
      return EMode::kStopped;
    case EOutput::kSafe:
    case EOutput::kLatched:
      return EMode::kSafe;
    case EOutput::kHeld:
      return EMode::kHeld;
    case EOutput::kOwn:
    case EOutput::kLimited:
    case EOutput::kDry:
      break;
  }
  return EMode::kAuto;
}

}  // namespace

CFrames::CFrames(runtime::CApplication& theApplication, const CSite* theSite, const CAlarms& theAlarms,
                 std::vector<TFacts> theFacts)
    : application(theApplication),
      site(theSite),
      alarms(theAlarms),
      facts(std::move(theFacts)),
      panes(application),
      layout(application, site, alarms, facts, panes.Size()),
      row(layout.size, kNone) {
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    if (layout.instruments[i].hasPanes) application.Instrument(i).NoteRegulating();
  }
}

std::size_t CFrames::Bytes() const {
  return live::PlaceBytes(sizeof(std::atomic<double>)) + live::CNewest<double>::Bytes(layout.size);
}

void CFrames::Place(live::CSharedBlock& block) {
  askedAt = block.Place<std::atomic<double>>();
  askedAt->store(-kAskedFor);
  newest.emplace(block, layout.size);
}

void CFrames::Write(EPhase phase, double now) {
  nextDue = now + kBetween;
  ++frames;
  double* end = row.data();
  *end++ = application.Time();
  *end++ = static_cast<double>(application.PeriodsDone());
  *end++ = EpochNow();
  *end++ = static_cast<double>(phase);
  *end++ = static_cast<double>(journal);
  *end++ = static_cast<double>(frames);
  for (const TShownItem& shown : layout.items) *end++ = application.ElementValue(shown.item.element, shown.item.item);
  for (std::size_t i = 0; i < layout.inputs.size(); ++i) {
    *end++ = static_cast<double>(site->Input(i));
    *end++ = site->Age(i);
  }
  for (std::size_t i = 0; i < layout.outputs; ++i) {
    *end++ = static_cast<double>(site->Output(i));
    *end++ = site->Written(i);
    *end++ = static_cast<double>(site->HeldBy(i));
  }
  // All at first, so that the first to look sees them.
  const std::uint64_t step = frames == 1 ? 1 : kTurns;
  for (std::size_t i = frames % step; i < layout.instruments.size(); i += step) AskFacts(i);
  for (std::size_t i = 0; i < layout.instruments.size(); ++i) end = PutInstrument(i, end);
  for (std::size_t i = 0; i < layout.alarms; ++i) {
    const TAlarmState& state = alarms.State(i);
    *end++ = FlagIf(state.isActive, kActive) | FlagIf(state.isAcknowledged, kAcknowledged) |
             FlagIf(state.isShelved, kShelved) | FlagIf(state.isOutOfService, kOutOfService);
    *end++ = state.since;
    *end++ = state.returned;
    *end++ = state.shelvedUntil;
    *end++ = static_cast<double>(state.count);
  }
  panes.Keep(std::span(row).subspan(layout.panesAt));
  newest->Write(row);
}

double* CFrames::PutInstrument(std::size_t index, double* end) {
  const TFrameLayout::TInstrument& place = layout.instruments[index];
  const runtime::CInstrumentHandle instrument = application.Instrument(index);
  const runtime::TPane none = {kNone, kNone, kNone};
  const runtime::TPane value = instrument.Pane(runtime::kValuePane);
  const runtime::TPane wish = place.hasPanes ? instrument.Pane(runtime::kWishPane) : none;
  const runtime::TPane output = place.hasPanes ? instrument.Pane(runtime::kOutputPane) : none;
  const auto [lowest, highest] = std::minmax(output.rangeFrom, output.rangeTo);
  const std::optional<std::size_t> identifies = facts[index].identifies;
  const bool isIdentifying = identifies && row[place.factsAt + place.settings + *identifies] == 1.0;
  *end++ = wish.value;
  *end++ = value.value;
  *end++ = output.value;
  *end++ = wish.rangeFrom;
  *end++ = wish.rangeTo;
  *end++ = value.rangeFrom;
  *end++ = value.rangeTo;
  *end++ = output.rangeFrom;
  *end++ = output.rangeTo;
  *end++ = static_cast<double>(ModeOf(index));
  *end++ = FlagIf(wish.belowLimit, kWishLow) | FlagIf(wish.aboveLimit, kWishHigh) |
           FlagIf(value.belowLimit, kValueLow) | FlagIf(value.aboveLimit, kValueHigh) |
           FlagIf(output.belowLimit, kOutputLow) | FlagIf(output.aboveLimit, kOutputHigh) |
           FlagIf(output.value <= lowest, kAtLowEnd) | FlagIf(output.value >= highest, kAtHighEnd) |
           FlagIf(isIdentifying, kIdentifies);
  return end;
}

EMode CFrames::ModeOf(std::size_t index) const {
  EMode mode = EMode::kAuto;
  for (const std::size_t output : layout.instruments[index].outputs) {
    mode = std::max(mode, panel::ModeOf(site->Output(output)));
  }
  if (mode != EMode::kAuto || !layout.instruments[index].hasPanes) return mode;
  const runtime::CInstrumentHandle instrument = application.Instrument(index);
  return instrument.Tracks() ? EMode::kTracks : instrument.Regulates() ? EMode::kAuto : EMode::kManual;
}

void CFrames::AskFacts(std::size_t index) {
  if (!facts[index].read) return;
  facts[index].read(&answers);
  const TFrameLayout::TInstrument& place = layout.instruments[index];
  double* const settings = row.data() + place.factsAt;
  std::copy_n(answers.begin(), place.settings, settings);
  if (place.learnt == 0) return;
  double* const learnt = settings + place.settings;
  const auto isSame = [](double one, double other) { return one == other || (std::isnan(one) && std::isnan(other)); };
  // What is 1 while it identifies isn't learnt.
  bool hasChanged = false;
  for (std::size_t i = 0; i + 1 < place.learnt; ++i) {
    const double answer = answers[place.settings + i];
    hasChanged = hasChanged || (i != facts[index].identifies && !isSame(answer, learnt[i]));
    learnt[i] = answer;
  }
  if (hasChanged && application.PeriodsDone() > 0) learnt[place.learnt - 1] = application.Time();
}

}  // namespace panel
