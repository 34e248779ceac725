#include "archive/view.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace archive {
namespace {

constexpr std::size_t kMostRows = 20000;  // that a view reads, about
constexpr std::size_t kRowsOfChunk = 32;  // that take as long as the samples of a chunk
constexpr int kSamples = -1;              // the level below chunks

TPoint PointOf(const TRun& run, const TSpan& span) {
  return {run.TimeOf(span.begin), run.TimeOf(span.end), span.min, span.max, span.mean, span.count,
          span.quality,           span.first,           span.last};
}

// Points as they come, ascending; once there are more than a view has, they are joined
// by a grid of as many as it may have, each point where it begins.
class CPoints {
 public:
  CPoints(double theBegin, double theEnd, std::size_t theMost)
      : begin(theBegin), width((theEnd - theBegin) / static_cast<double>(theMost)), most(theMost) {}

  void Add(const TPoint& point) {
    ++count;
    longest = std::max(longest, point.to - point.from);
    if (isJoined) {
      AddJoined(point);
      return;
    }
    points.push_back(point);
    if (points.size() <= most) return;
    isJoined = true;
    for (const TPoint& one : std::exchange(points, {})) AddJoined(one);
  }
  std::size_t Count() const { return count; }
  void TakeTo(TSeries* series) {
    series->points = std::move(points);
    series->resolution = isJoined ? std::max(width, longest) : longest;
  }

 private:
  void AddJoined(const TPoint& point) {
    const auto place = static_cast<std::int64_t>((point.from - begin) / width);
    if (points.empty() || place > lastPlace) {
      points.push_back(point);
      lastPlace = place;
      return;
    }
    TPoint& last = points.back();
    last.to = point.to;
    last.min = std::fmin(last.min, point.min);
    last.max = std::fmax(last.max, point.max);
    last.mean = JoinedMean(last.mean, last.count, point.mean, point.count);
    last.count += point.count;
    last.quality = std::max(last.quality, point.quality);
    last.last = point.last;
  }

  double begin;
  double width;
  std::size_t most;
  std::size_t count = 0;
  double longest = 0.0;
  bool isJoined = false;
  std::int64_t lastPlace = 0;
  std::vector<TPoint> points;
};

// A channel in a view, by spans of a level.
class CHistory {
 public:
  CHistory(const TView& theView, const std::string& channel, const std::vector<CFolder::TPiece>& thePieces)
      : view(theView),
        name(channel),
        pieces(thePieces),
        points(view.from, view.to, std::max<std::size_t>(1, view.points)) {
    for (const CFolder::TPiece& piece : pieces) level = std::max(level, piece.channel->top);
    Read();
  }

  const std::string& Name() const { return name; }
  std::size_t Cost() const { return cost; }
  // What it costs at most one level lower.
  std::size_t CostBelow() const { return cost * (level == 0 ? kRowsOfChunk : kJoined); }
  bool WantsMore() const { return level > kSamples && points.Count() < view.points; }
  void Descend() {
    --level;
    Read();
  }
  CPoints& Points() { return points; }

 private:
  // From the spans of the level that lie inside, with those of lower ones at the edges,
  // down to samples.
  void Read() {
    points = CPoints(view.from, view.to, std::max<std::size_t>(1, view.points));
    cost = 0;
    for (const CFolder::TPiece& piece : pieces) Cover(piece, std::min(level, piece.channel->top), piece.from, piece.to);
  }

  void Cover(const CFolder::TPiece& piece, int at, std::uint64_t from, std::uint64_t to) {
    if (from >= to) return;
    if (at == kSamples) {
      CoverBySamples(piece, from, to);
      return;
    }
    std::vector<TSpan> spans;
    piece.reader->Spans(*piece.channel, at, from, to, &spans);
    cost += 1 + spans.size();
    if (!spans.empty() && spans.back().end >= to) spans.pop_back();
    if (spans.empty()) {
      Cover(piece, at - 1, from, to);
      return;
    }
    Cover(piece, at - 1, from, spans.front().begin);
    for (const TSpan& span : spans) Put(piece, span);
    Cover(piece, at - 1, spans.back().end + 1, to);
  }

  void CoverBySamples(const CFolder::TPiece& piece, std::uint64_t from, std::uint64_t to) {
    TSamples samples;
    cost += 1 + kRowsOfChunk * piece.reader->Samples(*piece.channel, from, to, &samples);
    for (std::size_t i = 0; i < samples.Count(); ++i) {
      Put(piece, TSpan::Of(samples.periods[i], samples.values[i], samples.qualities[i]));
    }
  }

  void Put(const CFolder::TPiece& piece, const TSpan& span) { points.Add(PointOf(piece.run->run, span)); }

  const TView& view;
  std::string name;
  std::vector<CFolder::TPiece> pieces;
  int level = kSamples;
  std::size_t cost = 0;
  CPoints points;
};

// The runs of a view with their periods from <= period < to.
struct TPart {
  const TRun* run;
  std::uint64_t from;
  std::uint64_t to;
};

std::vector<TPart> PartsOf(const CFolder& folder, const TView& view) {
  std::vector<TPart> parts;
  const std::vector<TRun>& runs = folder.Runs();
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (view.run && *view.run != runs[i].id) continue;
    const bool isFollowed = !view.run && i + 1 < runs.size();
    const double to = isFollowed ? std::min(view.to, runs[i + 1].start) : view.to;
    const TPart part{&runs[i], PeriodAt(runs[i], view.from), PeriodAt(runs[i], to)};
    if (part.from < part.to) parts.push_back(part);
  }
  return parts;
}

// What a channel holds when the view begins in the midst of a run.
std::optional<TPoint> Before(CFolder& folder, const TPart& part, const std::string& channel) {
  if (part.from > part.run->last) return std::nullopt;
  const std::vector<CFolder::TPiece> pieces = folder.Pieces(part.run->id, channel, 0, part.from);
  if (pieces.empty()) return std::nullopt;
  const auto span = pieces.back().reader->Before(*pieces.back().channel, part.from);
  if (!span) return std::nullopt;
  return PointOf(*part.run, *span);
}

}  // namespace

std::vector<TSeries> View(CFolder& folder, const TView& view) {
  const std::vector<TPart> parts = PartsOf(folder, view);
  std::vector<CHistory> histories;
  std::size_t total = 0;
  for (const std::string& channel : view.channels) {
    std::vector<CFolder::TPiece> pieces;
    for (const TPart& part : parts) {
      const std::vector<CFolder::TPiece> more = folder.Pieces(part.run->id, channel, part.from, part.to);
      pieces.insert(pieces.end(), more.begin(), more.end());
    }
    total += histories.emplace_back(view, channel, pieces).Cost();
  }
  // The cheapest first: many that change seldom leave room for those that change often.
  for (;;) {
    CHistory* next = nullptr;
    for (CHistory& history : histories) {
      if (history.WantsMore() && (next == nullptr || history.CostBelow() < next->CostBelow())) next = &history;
    }
    if (next == nullptr || total - next->Cost() + next->CostBelow() > kMostRows) break;
    total -= next->Cost();
    next->Descend();
    total += next->Cost();
  }
  std::vector<TSeries> all;
  for (CHistory& history : histories) {
    TSeries& series = all.emplace_back();
    series.channel = history.Name();
    history.Points().TakeTo(&series);
    if (parts.empty()) continue;
    const bool standsThere = !series.points.empty() && PeriodAt(*parts[0].run, series.points[0].from) == parts[0].from;
    if (!standsThere) series.before = Before(folder, parts[0], series.channel);
  }
  return all;
}

}  // namespace archive
