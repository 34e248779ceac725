#include "archive/day_writer.h"

#include <bit>
#include <utility>

namespace archive {
namespace {

// A commit is on the disk when it is done: a log that is written ahead costs one sync
// for it, and readers go on meanwhile. The page is the system's, for a chunk that grows
// each second is written anew.
constexpr char kSettings[] =
    "PRAGMA page_size=4096; PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA application_id=1281314904;";

constexpr char kTables[] = R"(
PRAGMA user_version=1;
CREATE TABLE IF NOT EXISTS runs(
  id INTEGER PRIMARY KEY, start INTEGER NOT NULL, application TEXT NOT NULL, period REAL NOT NULL,
  simulated INTEGER NOT NULL, first INTEGER NOT NULL, last INTEGER NOT NULL, lost INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS channels(
  id INTEGER PRIMARY KEY, run INTEGER NOT NULL, name TEXT NOT NULL, unit TEXT NOT NULL, kind INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS samples(id INTEGER PRIMARY KEY, coded BLOB NOT NULL);
CREATE TABLE IF NOT EXISTS spans(
  channel INTEGER NOT NULL, level INTEGER NOT NULL, begin INTEGER NOT NULL, end INTEGER NOT NULL,
  first REAL, last REAL, min REAL, max REAL, mean REAL, count INTEGER NOT NULL, quality INTEGER NOT NULL,
  samples INTEGER NOT NULL, PRIMARY KEY(channel, level, begin)) WITHOUT ROWID;
)";

constexpr char kOneFile[] = "PRAGMA journal_mode=DELETE;";

}  // namespace

struct CDayWriter::TStatements {
  explicit TStatements(const CDatabase& database)
      : addSamples(database, "INSERT INTO samples(coded) VALUES(?)"),
        setSamples(database, "UPDATE samples SET coded=? WHERE id=?"),
        setSpan(database, "REPLACE INTO spans VALUES(?,?,?,?,?,?,?,?,?,?,?,?)"),
        setRun(database, "REPLACE INTO runs VALUES(?,?,?,?,?,?,?,?)") {}

  CStatement addSamples;
  CStatement setSamples;
  CStatement setSpan;
  CStatement setRun;
};

CDayWriter::CDayWriter(const std::string& path, const TRun& theRun, const std::vector<TChannel>& channels)
    : database(path, CDatabase::kWrite), run(theRun) {
  database.Execute(kSettings);
  database.Execute(("BEGIN IMMEDIATE;" + std::string(kTables) + "COMMIT;").c_str());
  statements = std::make_unique<TStatements>(database);
  CStatement find(database, "SELECT id, first, last FROM runs WHERE start=?");
  if (find.With(run.id).Step()) {
    runRow = find.Integer(0);
    first = find.Whole(1, kMostPeriods);
    last = find.Whole(2, kMostPeriods);
  } else {
    CStatement highest(database, "SELECT ifnull(max(id), 0) + 1 FROM runs");
    highest.Step();
    runRow = highest.Integer(0);
  }
  find.Reset();
  FindChannels(channels);
}

CDayWriter::~CDayWriter() = default;

void CDayWriter::Begin() {
  if (!isBegun) database.Execute("BEGIN IMMEDIATE");
  isBegun = true;
}

void CDayWriter::FindChannels(const std::vector<TChannel>& channels) {
  open.resize(channels.size());
  CStatement find(database, "SELECT id FROM channels WHERE run=? ORDER BY id");
  find.With(runRow);
  std::size_t found = 0;
  while (find.Step()) {
    if (found < open.size()) open[found].id = find.Integer(0);
    ++found;
  }
  if (found != 0) {
    if (found != open.size()) database.Damaged("channels are missing");
    for (TOpen& channel : open) FindLeft(channel);
    return;
  }
  Begin();
  CStatement add(database, "INSERT INTO channels(run, name, unit, kind) VALUES(?,?,?,?)");
  for (std::size_t i = 0; i < channels.size(); ++i) {
    add.With(runRow, channels[i].name, channels[i].unit, static_cast<int>(channels[i].kind)).Do();
    open[i].id = database.LastRow();
  }
}

// The chunk that was open stays as it is.
void CDayWriter::FindLeft(TOpen& channel) {
  CStatement find(
      database,
      "SELECT begin, end, first, last, min, max, mean, count, quality FROM spans WHERE channel=?1 AND "
      "level=?2 AND begin>ifnull((SELECT end FROM spans WHERE channel=?1 AND level=?2+1 ORDER BY begin DESC "
      "LIMIT 1), -1) ORDER BY begin");
  CStatement top(database, "SELECT ifnull(max(level), -1) FROM spans WHERE channel=?");
  top.With(channel.id).Step();
  for (std::int64_t level = 0; level <= top.Integer(0); ++level) {
    std::vector<TSpan>& left = channel.left.emplace_back();
    find.With(channel.id, level);
    while (find.Step()) {
      left.push_back({find.Whole(0, kMostPeriods), find.Whole(1, kMostPeriods), find.Real(2), find.Real(3),
                      find.Real(4), find.Real(5), find.Real(6), find.Whole(7, kMostPeriods),
                      static_cast<std::uint8_t>(find.Whole(8, 255)), 0});
    }
  }
}

void CDayWriter::Take(std::uint64_t period, const double* values, const std::uint8_t* qualities, bool isWhole) {
  Begin();
  for (std::size_t i = 0; i < open.size(); ++i) {
    TOpen& channel = open[i];
    const auto bits = std::bit_cast<std::uint64_t>(values[i]);
    if (channel.isKnown && !isWhole && bits == channel.bits && qualities[i] == channel.quality) continue;
    channel.isKnown = true;
    channel.bits = bits;
    channel.quality = qualities[i];
    channel.isChanged = true;
    channel.samples.Add(period, values[i], qualities[i]);
    if (channel.samples.Count() == kMostSamples) EndChunk(channel);
  }
  if (!first) first = period;
  last = period;
}

TSpan CDayWriter::WriteChunk(TOpen& channel) {
  const std::vector<std::uint8_t> coded = Coded(channel.samples);
  if (channel.row == 0) {
    statements->addSamples.With(std::span(coded)).Do();
    channel.row = database.LastRow();
  } else {
    statements->setSamples.With(std::span(coded), channel.row).Do();
  }
  TSpan span = TSpan::Of(channel.samples);
  span.samples = channel.row;
  WriteSpan(channel, 0, span);
  channel.isChanged = false;
  return span;
}

void CDayWriter::EndChunk(TOpen& channel) {
  const TSpan span = WriteChunk(channel);
  channel.samples.Clear();
  channel.row = 0;
  AddSpan(channel, 0, span);
}

void CDayWriter::WriteSpan(const TOpen& channel, std::size_t level, const TSpan& span) {
  statements->setSpan
      .With(channel.id, static_cast<std::uint64_t>(level), span.begin, span.end, span.first, span.last, span.min,
            span.max, span.mean, span.count, static_cast<int>(span.quality), span.samples)
      .Do();
}

void CDayWriter::AddSpan(TOpen& channel, std::size_t level, const TSpan& span) {
  if (channel.left.size() <= level) channel.left.resize(level + 1);
  channel.left[level].push_back(span);
  if (channel.left[level].size() >= kJoined) JoinLevel(channel, level);
}

void CDayWriter::JoinLevel(TOpen& channel, std::size_t level) {
  const std::vector<TSpan> joined = std::exchange(channel.left[level], {});
  TSpan all = joined.front();
  for (std::size_t i = 1; i < joined.size(); ++i) all.Join(joined[i]);
  all.samples = 0;
  WriteSpan(channel, level + 1, all);
  AddSpan(channel, level + 1, all);
}

void CDayWriter::Commit(std::uint64_t lost) {
  if (!isBegun) return;
  for (TOpen& channel : open) {
    if (channel.isChanged && channel.samples.Count() > 0) WriteChunk(channel);
  }
  if (last) {
    statements->setRun
        .With(runRow, run.id, run.application, run.period, static_cast<int>(run.isSimulated), *first, *last, lost)
        .Do();
  }
  database.Execute("COMMIT");
  isBegun = false;
}

void CDayWriter::Close(std::uint64_t lost) {
  Begin();
  for (TOpen& channel : open) {
    if (channel.samples.Count() > 0) EndChunk(channel);
    // Up to the one span that has the whole day.
    for (std::size_t level = 0; level < channel.left.size(); ++level) {
      const bool isTop = level + 1 == channel.left.size();
      if (!channel.left[level].empty() && (!isTop || channel.left[level].size() > 1)) JoinLevel(channel, level);
    }
  }
  Commit(lost);
  statements.reset();
  // Who reads at this moment keeps it from becoming one file; the next writer sees to it.
  database.SetPatience(0.1);
  try {
    database.Execute(kOneFile);
  } catch (const TFailure&) {
    return;
  }
}

void Tidy(const std::string& path) {
  try {
    CDatabase database(path, CDatabase::kWrite);
    database.SetPatience(0.1);
    database.Execute(kOneFile);
  } catch (const TFailure&) {
    return;
  }
}

}  // namespace archive
