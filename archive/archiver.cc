#include "archive/archiver.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "archive/writing.h"
#include "live/keeper.h"
#include "live/shared_block.h"
#include "runtime/trace.h"

namespace archive {
namespace {

constexpr double kRoom = 30.0;                            // seconds of rows that wait
constexpr std::size_t kLeastRows = 2000;                  // where memory allows
constexpr std::size_t kMostWords = std::size_t{4} << 20;  // of all rows that wait: 32 MB
constexpr double kLongestEnd = 60.0;                      // seconds
constexpr useconds_t kPause = 200;                        // microseconds, of a loop that waits
constexpr char kInstrument[] = "archive";

// What a name has in front of its last dot.
std::string Before(const std::string& name) { return name.substr(0, name.rfind('.')); }

// By its name, what the application knows of a channel.
TChannel Described(const runtime::CApplication& application, const std::string& name) {
  TChannel channel{name, "", EKind::kReal};
  runtime::TItem item;
  std::string problem;
  if (application.FindItem(name, &item, &problem) || application.FindItem(Before(name), &item, &problem)) {
    const runtime::TElement element = application.Element(item.element);
    channel.unit = element.unit;
    if (element.isBoolean) channel.kind = EKind::kBoolean;
    if (element.isInteger) channel.kind = EKind::kInteger;
  }
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application.Instrument(i);
    if (instrument.Name() != Before(name)) continue;
    channel.unit = name.ends_with(".output") ? instrument.OutputUnit() : instrument.QuantityUnit();
    channel.kind = EKind::kReal;
  }
  return channel;
}

std::size_t RowsThatFit(double period, std::size_t words, bool isRealTime) {
  const std::size_t most = std::max<std::size_t>(kMostWords / words, 16);
  if (!isRealTime) return most;
  return std::min(most, std::max(kLeastRows, static_cast<std::size_t>(std::ceil(kRoom / period))));
}

// Microseconds of the epoch.
std::int64_t WallClock() {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

struct CArchiver::TState {
  TState(runtime::CApplication& theApplication, TArchiving theArchiving)
      : application(theApplication), archiving(std::move(theArchiving)), trace(application, {}, nullptr) {}
  ~TState() {
    keeper.reset();
    if (lock >= 0) close(lock);
  }

  bool Lock(std::string* error);
  void Choose();
  bool Share(std::string* error);
  void Put();
  void TakeTexts(bool isLast);
  void Report(const std::string& text) { archiving.report({application.Time(), kInstrument, text}); }

  runtime::CApplication& application;
  const TArchiving archiving;
  const std::int64_t made = WallClock();
  const runtime::CTrace trace;
  std::vector<double> values;        // of the trace's columns
  std::vector<std::size_t> columns;  // of the channels
  std::vector<const TArchiving::TQuality*> judges;
  TWriting writing;
  std::unique_ptr<live::CSharedBlock> block;
  std::optional<CRowRing> rows;
  std::optional<live::CRing<TText, 16>> texts;
  int lock = -1;  // the folder: a run's own as long as it is open
  std::unique_ptr<live::CKeeper> keeper;
  std::uint64_t lost = 0;
  std::uint64_t lostTold = 0;
  std::uint32_t deathsTold = 0;
  bool wasLosing = false;
  bool isGone = false;
};

bool CArchiver::TState::Lock(std::string* error) {
  const std::string& folder = archiving.folder;
  std::error_code failed;
  std::filesystem::create_directories(folder, failed);
  if (!failed) lock = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lock < 0) {
    *error = folder + ": the archive can't be made: " + (failed ? failed.message() : std::strerror(errno));
  } else if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
    *error = folder + ": another run writes this archive";
  } else if (access(folder.c_str(), W_OK) != 0) {
    *error = folder + ": the archive can't be written: " + std::strerror(errno);
  } else {
    return true;
  }
  return false;
}

// All columns of a trace, but for the time and words of qualities.
void CArchiver::TState::Choose() {
  std::set<std::string> words;
  for (const TArchiving::TQuality& quality : archiving.qualities) words.insert(quality.channel + ".quality");
  const std::vector<std::string>& names = trace.Names();
  values.resize(names.size());
  for (std::size_t i = 1; i < names.size(); ++i) {
    if (words.contains(names[i])) continue;
    columns.push_back(i);
    writing.channels.push_back(Described(application, names[i]));
    for (const TArchiving::TQuality& quality : archiving.qualities) {
      if (quality.channel != names[i]) continue;
      writing.judged.push_back(writing.channels.size() - 1);
      judges.push_back(&quality);
    }
  }
}

bool CArchiver::TState::Share(std::string* error) {
  const std::size_t words = writing.RowWords();
  const std::size_t capacity = RowsThatFit(application.Period(), words, archiving.isRealTime);
  block = live::CSharedBlock::Make(
      CRowRing::Bytes(capacity, words) + live::CRing<TText, 16>::Bytes() + live::PlaceBytes(sizeof(TOutlook)), error);
  if (block == nullptr) return false;
  writing.rows = &rows.emplace(*block, capacity, words);
  writing.texts = &texts.emplace(*block);
  writing.outlook = block->Place<TOutlook>();
  return true;
}

CArchiver::CArchiver(std::unique_ptr<TState> theState) : state(std::move(theState)) {}
CArchiver::~CArchiver() = default;

std::unique_ptr<CArchiver> CArchiver::Start(runtime::CApplication& application, TArchiving archiving,
                                            std::string* error) {
  auto state = std::make_unique<TState>(application, std::move(archiving));
  TWriting& writing = state->writing;
  writing.folder = state->archiving.folder;
  writing.days = state->archiving.days;
  writing.run.application = application.Name();
  writing.run.period = application.Period();
  writing.run.isSimulated = !state->archiving.isRealTime;
  state->Choose();
  if (!state->Lock(error) || !state->Share(error)) return nullptr;
  live::TKeeping keeping;
  keeping.work = keeping.again = [&writing](int loop) { return Write(writing, loop); };
  keeping.times = -1;
  keeping.pause = 0.2;
  keeping.descriptors = {state->lock};
  keeping.name = "archive";
  state->keeper = live::CKeeper::Start(keeping, error);
  if (state->keeper == nullptr) return nullptr;
  return std::unique_ptr<CArchiver>(new CArchiver(std::move(state)));
}

void CArchiver::TState::Put() {
  std::uint64_t* room = rows->Room();
  // A writer that comes no further takes nothing from the run.
  while (room == nullptr && !archiving.isRealTime && !writing.outlook->isFailing.load() && keeper->IsAlive()) {
    usleep(kPause);
    room = rows->Room();
  }
  if (room == nullptr) {
    ++lost;
    return;
  }
  trace.ReadRow(values.data());
  room[0] = application.PeriodsDone();
  room[1] = lost;
  room += kRowHead;
  for (const std::size_t column : columns) *room++ = std::bit_cast<std::uint64_t>(values[column]);
  auto* const qualities = reinterpret_cast<std::uint8_t*>(room);
  for (std::size_t i = 0; i < judges.size(); ++i) qualities[i] = judges[i]->now();
  rows->Put();
}

void CArchiver::Observe() {
  // Where time goes faster than the wall clock, the run begins when it was made.
  std::atomic<std::int64_t>& start = state->writing.outlook->start;
  if (start.load() == 0)
    start.store(std::max<std::int64_t>(state->made, WallClock() - std::llround(1e6 * state->application.Time())));
  state->Put();
  state->TakeTexts(false);
}

void CArchiver::TState::TakeTexts(bool isLast) {
  TText told;
  while (texts->Take(&told)) Report(told.text);
  if (keeper->Deaths() != deathsTold) {
    deathsTold = keeper->Deaths();
    Report("the archive's process has died: another one goes on");
  }
  if (!isLast && !isGone && !keeper->IsAlive()) {
    isGone = true;
    Report("the archive's process is gone: nothing is kept any more");
  }
  const bool isLosing = !isLast && rows->Room() == nullptr && lost > lostTold;
  if (isLosing && !wasLosing) Report("the archive has no room: rows are lost");
  wasLosing = isLosing;
  if (isLosing || lost == lostTold) return;
  Report("rows lost to the archive: " + std::to_string(lost - lostTold));
  lostTold = lost;
}

bool CArchiver::Finish(std::string* error) {
  const bool hasEnded = state->keeper->End(kLongestEnd) && state->writing.outlook->hasEnded.load();
  state->TakeTexts(true);
  if (hasEnded) return true;
  *error = state->archiving.folder + ": the archive is not complete";
  return false;
}

}  // namespace archive
