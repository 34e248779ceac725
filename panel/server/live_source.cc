#include "panel/server/live_source.h"

#include <algorithm>
#include <ctime>

#include "live/clock.h"
#include "panel/frame.h"
#include "panel/frame_json.h"

namespace panel {
namespace {

constexpr double kMostRefusals = 20.0;  // that the journal takes one after the other
constexpr double kRefusalsInSecond = 0.2;

}  // namespace

TNames NamesOf(const TModel& model) {
  TNames names;
  names.isPlant = model.isPlant;
  for (const TModel::TInstrument& instrument : model.instruments) names.instruments.push_back(instrument.name);
  for (const TModel::TAlarm& alarm : model.alarms) names.alarms.push_back(alarm.name);
  for (const TModel::TOperator& allowed : model.operators) {
    TNames::TAllowed& known = names.operators.emplace_back();
    known.name = allowed.name;
    known.kind = allowed.kind;
    known.arguments = allowed.arguments;
    known.range = allowed.range;
    if (!allowed.instrument) continue;
    const TModel::TInstrument& instrument = model.instruments[*allowed.instrument];
    known.instrument = instrument.name;
    if (allowed.kind != TOperator::kParameters || !instrument.parameters) continue;
    for (const TParameter& parameter : *instrument.parameters) known.values.push_back(parameter.name);
  }
  return names;
}

CLiveSource::CLiveSource(CFrames& theFrames, const TModel& theModel, TShare theShare, CHistory* older)
    : frames(theFrames),
      model(theModel),
      names(NamesOf(theModel)),
      share(std::move(theShare)),
      history(theFrames.Layout(), share.samples, model.period, older),
      lines(share.journal),
      columns(theFrames.Layout().Trends()),
      values(columns.size()),
      frame(theFrames.Take()) {}

EPhase CLiveSource::Phase() const {
  const auto phase = static_cast<EPhase>(frame[kPhase]);
  return isLost && (phase == EPhase::kStarting || phase == EPhase::kRunning) ? EPhase::kFailed : phase;
}

std::string CLiveSource::Model(bool mayOperate) {
  model.phase = Phase();
  return model.Json(mayOperate);
}

bool CLiveSource::TakeFrame() {
  frames.Ask(live::Now());
  frame = frames.Take();
  const bool isNew = frame[kFrames] != number || hasNews;
  hasNews = false;
  if (!isNew) return false;
  number = frame[kFrames];
  for (std::size_t i = 0; i < columns.size(); ++i) values[i] = frame[columns[i]];
  // Before the first period instruments have no numbers yet.
  if (Phase() != EPhase::kStarting) share.samples.Add(frame[kTime], values);
  frames.Show(frame);
  return true;
}

std::string CLiveSource::Frame() {
  if (!isLost) return FrameJson(frames.Layout(), frame);
  std::vector<double> last(frame.begin(), frame.end());
  last[kPhase] = static_cast<double>(Phase());
  return FrameJson(frames.Layout(), last);
}

bool CLiveSource::Picture(std::size_t instrument, EPicture format, int width, int height, std::string* bytes,
                          std::string* error) {
  const painting::CLivePanes& panes = frames.Panes();
  const std::optional<painting::TPictureSize> own = panes.SizeOf(instrument);
  if (!own || number == 0.0) {
    *error = "there is no picture of it";
    return false;
  }
  const painting::TPictureSize room = {width > 0 ? width : own->width, height > 0 ? height : own->height};
  return panes.InstrumentPicture(
      instrument, format == EPicture::kSvg ? painting::EFormat::kSvg : painting::EFormat::kPng, room, bytes, error);
}

CSource::ETaken CLiveSource::Submit(TCommand* command, std::string* why) {
  if (isLost || IsOver()) {
    *why = "the run has ended";
    return ETaken::kRefused;
  }
  command->number = share.number.load() + 1;
  if (!share.commands.Put(*command)) return ETaken::kFull;
  share.number.store(command->number);
  return ETaken::kTaken;
}

void CLiveSource::NoteRefused(const std::string& who, const std::string& what, const std::string& why) {
  if (share.refusals == nullptr) return;
  // Who has a token to see fills no disk.
  const double now = live::Now();
  refusals = std::min(kMostRefusals, refusals + (now - refusedAt) * kRefusalsInSecond);
  refusedAt = now;
  if (refusals < 1.0) return;
  refusals -= 1.0;
  timespec wall{};
  clock_gettime(CLOCK_REALTIME, &wall);
  TJournalRecord record;
  record.wall = static_cast<double>(wall.tv_sec) + 1e-9 * static_cast<double>(wall.tv_nsec);
  record.time = frame[kTime];
  record.period = static_cast<std::uint64_t>(frame[kPeriod]);
  record.what = EEntry::kRequest;
  record.isRefused = true;
  SetText(record.who, who);
  SetText(record.thing, what);
  SetText(record.why, why);
  share.refusals->Put(record);  // of more than the journal's writer can write the rest isn't kept
}

void CLiveSource::LoseLoop() {
  isLost = true;
  hasNews = true;
}

}  // namespace panel
