#include "archive/day_reader.h"

#include <algorithm>
#include <set>

namespace archive {
namespace {

constexpr std::int64_t kFormat = 1;
constexpr std::uint64_t kLatest = std::uint64_t{1} << 53;  // microseconds of the epoch

const std::string kSpan =
    "SELECT begin, end, first, last, min, max, mean, count, quality, samples FROM spans WHERE channel=?1 AND level=";
const std::string kSpans = kSpan + "?2 AND begin>=?3 AND begin<?4 ORDER BY begin";
// With the one that begins before, and may reach into it.
const std::string kChunks = kSpan +
                            "0 AND begin>=ifnull((SELECT max(begin) FROM spans WHERE channel=?1 AND level=0 AND "
                            "begin<=?2), ?2) AND begin<?3 ORDER BY begin";
const std::string kBefore = kSpan + "0 AND begin<?2 ORDER BY begin DESC LIMIT 1";

TSpan SpanIn(const CDatabase& database, const CStatement& row) {
  const TSpan span{row.Whole(0, kMostPeriods),
                   row.Whole(1, kMostPeriods),
                   row.Real(2),
                   row.Real(3),
                   row.Real(4),
                   row.Real(5),
                   row.Real(6),
                   row.Whole(7, kMostPeriods),
                   static_cast<std::uint8_t>(row.Whole(8, 255)),
                   row.Integer(9)};
  if (span.begin > span.end || span.count == 0 || span.count > span.end - span.begin + 1) {
    database.Damaged("the periods of a span");
  }
  return span;
}

}  // namespace

struct CDayReader::TStatements {
  explicit TStatements(const CDatabase& database)
      : findSpans(database, kSpans.c_str()),
        findChunks(database, kChunks.c_str()),
        findBefore(database, kBefore.c_str()),
        findSamples(database, "SELECT coded FROM samples WHERE id=?") {}

  CStatement findSpans;
  CStatement findChunks;
  CStatement findBefore;
  CStatement findSamples;
};

CDayReader::CDayReader(const std::string& path) : database(path, CDatabase::kRead) {
  database.Execute("BEGIN");
  CStatement mode(database, "PRAGMA journal_mode");
  isOpen = mode.Step() && mode.Text(0) == "wal";
  CStatement tables(database, "SELECT count(*) FROM sqlite_schema");
  if (!tables.Step() || tables.Integer(0) == 0) return;
  CStatement format(database, "PRAGMA user_version");
  if (!format.Step() || format.Integer(0) != kFormat) database.Damaged("it is no day of an archive");
  statements = std::make_unique<TStatements>(database);
}

CDayReader::~CDayReader() = default;

std::vector<TDayRun> CDayReader::Runs() const {
  std::vector<TDayRun> runs;
  if (statements == nullptr) return runs;
  CStatement find(database,
                  "SELECT id, start, application, period, simulated, first, last, lost FROM runs ORDER BY start");
  CStatement channels(database, "SELECT id, name, unit, kind FROM channels WHERE run=? ORDER BY id");
  CStatement end(database, "SELECT end FROM spans WHERE channel=? AND level=0 ORDER BY begin DESC LIMIT 1");
  CStatement top(database, "SELECT max(level) FROM spans WHERE channel=?");
  while (find.Step()) {
    TDayRun& day = runs.emplace_back();
    TRun& run = day.run;
    run.id = static_cast<std::int64_t>(find.Whole(1, kLatest));
    run.start = static_cast<double>(run.id) * 1e-6;
    run.application = find.Text(2);
    run.period = find.Real(3);
    run.isSimulated = find.Integer(4) != 0;
    run.first = find.Whole(5, kMostPeriods);
    run.last = find.Whole(6, kMostPeriods);
    run.lost = find.Whole(7, kMostPeriods);
    if (!(run.period >= 1e-3 && run.period <= 1e9) || run.first > run.last) database.Damaged("the periods of a run");
    if (runs.size() > 1 && runs[runs.size() - 2].run.id == run.id) database.Damaged("a run that is there twice");
    std::set<std::string> names;
    channels.With(find.Integer(0));
    while (channels.Step()) {
      TDayChannel& channel = day.channels.emplace_back();
      channel.id = channels.Integer(0);
      channel.channel = {channels.Text(1), channels.Text(2), static_cast<EKind>(channels.Whole(3, 2))};
      if (!names.insert(channel.channel.name).second) database.Damaged("a channel that is there twice");
      if (!end.With(channel.id).Step()) continue;
      channel.end = end.Whole(0, run.last);
      if (top.With(channel.id).Step()) channel.top = static_cast<int>(top.Whole(0, kMostLevels));
    }
  }
  return runs;
}

void CDayReader::Spans(const TDayChannel& channel, int level, std::uint64_t from, std::uint64_t to,
                       std::vector<TSpan>* spans) {
  CStatement& find = statements->findSpans.With(channel.id, level, from, to);
  std::uint64_t next = from;
  while (find.Step()) {
    spans->push_back(SpanIn(database, find));
    if (spans->back().begin < next) database.Damaged("spans that overlap");
    next = spans->back().end + 1;
  }
}

void CDayReader::ReadChunk(const TSpan& span) {
  CStatement& find = statements->findSamples.With(span.samples);
  const bool isWhole = find.Step() && Decode(find.Bytes(0), &chunk) && chunk.Count() == span.count &&
                       chunk.periods.front() == span.begin && chunk.periods.back() == span.end;
  find.Reset();
  if (!isWhole) database.Damaged("the samples of a chunk");
}

std::size_t CDayReader::Samples(const TDayChannel& channel, std::uint64_t from, std::uint64_t to, TSamples* samples,
                                std::size_t most) {
  CStatement& find = statements->findChunks.With(channel.id, from, to);
  std::uint64_t next = from;
  std::size_t chunks = 0;
  while (most > 0 && find.Step()) {
    const TSpan span = SpanIn(database, find);
    if (span.end < next) continue;
    ReadChunk(span);
    const std::size_t before = samples->Count();
    ++chunks;
    for (std::size_t i = 0; i < chunk.Count(); ++i) {
      if (chunk.periods[i] < next || chunk.periods[i] >= to) continue;
      samples->Add(chunk.periods[i], chunk.values[i], chunk.qualities[i]);
    }
    next = span.end + 1;
    if (samples->Count() > before) --most;
  }
  find.Reset();
  return chunks;
}

std::optional<TSpan> CDayReader::Before(const TDayChannel& channel, std::uint64_t period) {
  CStatement& find = statements->findBefore.With(channel.id, period);
  if (!find.Step()) return std::nullopt;
  const TSpan span = SpanIn(database, find);
  find.Reset();
  ReadChunk(span);
  const auto after = std::lower_bound(chunk.periods.begin(), chunk.periods.end(), period);
  const auto found = static_cast<std::size_t>(after - chunk.periods.begin()) - 1;
  return TSpan::Of(chunk.periods[found], chunk.values[found], chunk.qualities[found]);
}

}  // namespace archive
