// Archives: what is written is found again, whole, at any zoom, whatever happened meanwhile.
#include "archive/archive.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "archive/days.h"
#include "archive/folder.h"
#include "archive/writer.h"
#include "tests/support.h"

namespace {

using archive::CArchive;
using archive::CWriter;
using archive::TPoint;
using archive::TSeries;
using archive::TView;
using tests::Loopbox;

constexpr std::uint64_t kPeakEvery = 97;  // samples: the peaks of one sample

// A run whose channels are known at every period: each changes every so many periods,
// and now and then has a peak of one sample.
struct TKnown {
  archive::TRun run;
  std::vector<archive::TChannel> channels;
  std::vector<std::uint64_t> every;
  std::uint64_t periods = 0;

  // It begins a quarter of a second past noon.
  TKnown(double period, double days, const std::vector<std::uint64_t>& changes) : every(changes) {
    run.id = 1795608000250000;
    run.start = static_cast<double>(run.id) * 1e-6;
    run.application = "known";
    run.period = period;
    for (std::size_t i = 0; i < every.size(); ++i) channels.push_back({"c" + std::to_string(i), "K", {}});
    periods = static_cast<std::uint64_t>(std::llround(days * 86400.0 / period));
  }

  double Value(std::size_t channel, std::uint64_t period) const {
    const std::uint64_t sample = period / every[channel];
    if (sample % kPeakEvery == 5) return 100.0 + static_cast<double>(sample % 1009);
    return static_cast<double>((sample * 7919 + channel) % 1000) / 1000.0;
  }
  std::uint8_t Quality(std::size_t channel, std::uint64_t period) const {
    return channel == 0 && period / every[0] % 5000 == 77 ? 2 : 0;
  }
  // Samples in from <= period < to. The first period of each day has one whether
  // something changed or not.
  std::uint64_t Count(std::size_t channel, std::uint64_t from, std::uint64_t to) const {
    std::uint64_t count = (to - 1) / every[channel] - (from - 1) / every[channel];
    if (from == 1 && every[channel] != 1) ++count;
    for (double day = archive::DayOf(run.start) + 1.0; day * 86400.0 < run.TimeOf(to); ++day) {
      const std::uint64_t first = archive::PeriodAt(run, day * 86400.0);
      if (first >= from && first < to && first % every[channel] != 0) ++count;
    }
    return count;
  }
  double Peak(std::size_t channel, std::uint64_t from, std::uint64_t to) const {
    double peak = -1.0;
    const std::uint64_t k = every[channel];
    for (std::uint64_t sample = from / k - from / k % kPeakEvery + 5; sample * k < to; sample += kPeakEvery) {
      if ((sample + 1) * k > from) peak = std::max(peak, Value(channel, sample * k));
    }
    return peak;
  }

  void Give(CWriter* writer, std::uint64_t from, std::uint64_t to) const {
    std::vector<double> values(every.size());
    std::vector<std::uint8_t> qualities(every.size());
    for (std::uint64_t period = from; period < to; ++period) {
      for (std::size_t i = 0; i < every.size(); ++i) {
        if (period != from && period % every[i] != 0) continue;
        values[i] = Value(i, period);
        qualities[i] = Quality(i, period);
      }
      writer->Take(period, 0, values.data(), qualities.data());
    }
  }

  TView All(std::uint64_t from, std::uint64_t to, std::size_t points) const {
    TView view;
    for (const archive::TChannel& channel : channels) view.channels.push_back(channel.name);
    view.from = run.TimeOf(from);
    view.to = run.TimeOf(to);
    view.points = points;
    return view;
  }
};

// Each point has all samples between its ends, and the points all of the span.
void ExpectWhole(const TKnown& known, std::size_t channel, const TSeries& series, std::uint64_t from, std::uint64_t to,
                 std::size_t most) {
  EXPECT_LE(series.points.size(), most);
  std::uint64_t count = 0;
  std::uint64_t next = from;
  for (const TPoint& point : series.points) {
    const std::uint64_t first = archive::PeriodAt(known.run, point.from);
    const std::uint64_t last = archive::PeriodAt(known.run, point.to);
    ASSERT_GE(first, next);
    ASSERT_LT(last, to);
    ASSERT_EQ(point.count, known.Count(channel, first, last + 1)) << channel << " " << first << " " << last;
    // A sample of the first period of a day may stand within its stretch.
    const double peak = known.Peak(channel, first, last + 1);
    ASSERT_EQ(peak < 0.0 ? point.max < 1.0 : point.max == peak, true) << channel << " " << first << " " << last;
    ASSERT_EQ(point.first, known.Value(channel, first));
    ASSERT_EQ(point.last, known.Value(channel, last));
    ASSERT_GE(point.mean, point.min);
    ASSERT_LE(point.mean, point.max);
    count += point.count;
    next = last + 1;
  }
  EXPECT_EQ(count, known.Count(channel, from, to)) << channel << " " << from << " " << to;
}

// At all zooms; yields the longest processor time that a view took, in seconds.
double ExpectAnyView(const TKnown& known, CArchive& archive) {
  std::mt19937_64 random(7);
  double longest = 0.0;
  for (std::uint64_t span = known.periods; span >= 16; span /= 5) {
    for (std::size_t turn = 0; turn < 3; ++turn) {
      const std::uint64_t from = 1 + random() % (known.periods - span + 1);
      const TView view = known.All(from, from + span, std::array<std::size_t, 3>{1000, 40, 3}[turn]);
      std::vector<TSeries> series;
      std::string error;
      const std::clock_t begin = std::clock();
      EXPECT_TRUE(archive.View(view, &series, &error)) << error;
      longest = std::max(longest, static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
      for (std::size_t i = 0; i < series.size(); ++i) {
        ExpectWhole(known, i, series[i], from, from + span, view.points);
        if (testing::Test::HasFatalFailure()) return longest;
        const bool stands = !series[i].points.empty() && series[i].points[0].from == known.run.TimeOf(from);
        EXPECT_EQ(series[i].before.has_value(), !stands && from > 1);
        if (series[i].before) {
          EXPECT_EQ(series[i].before->max, known.Value(i, from - 1));
        }
      }
    }
  }
  return longest;
}

std::unique_ptr<CArchive> Opened(const std::string& folder) {
  std::string error;
  auto archive = CArchive::Open(folder, &error);
  if (archive == nullptr) throw std::runtime_error(error);
  return archive;
}

std::vector<std::uint64_t> Mixed(std::size_t fast, std::size_t slow, std::uint64_t slowly) {
  std::vector<std::uint64_t> every(fast, 1);
  every.resize(fast + slow, slowly);
  return every;
}

TEST(Archive, ShowsADayAtAnyZoom) {
  const TKnown known(1.0, 1.0, [] {
    std::vector<std::uint64_t> every = Mixed(8, 40, 60);
    every.insert(every.end(), {7, 3600});
    return every;
  }());
  const tests::CFolder folder;
  std::mt19937_64 random(3);
  auto writer = std::make_unique<CWriter>(folder.Path(), known.run, known.channels, 0);
  std::uint64_t committed = 1;
  for (std::uint64_t at = 1; at <= known.periods;) {
    const std::uint64_t to = std::min(known.periods + 1, at + 1 + random() % 3000);
    known.Give(writer.get(), at, to);
    at = to;
    if (random() % 10 == 0) {  // it died: what wasn't committed, and some that was, is given again
      writer = std::make_unique<CWriter>(folder.Path(), known.run, known.channels, 0);
      at = committed > 100 ? committed - 100 : 1;
    } else {
      writer->Commit();
      committed = at;
    }
  }
  // While it is written, and when all is closed.
  const auto archive = Opened(folder.Path());
  ASSERT_EQ(archive->Days().size(), 2u);
  ASSERT_EQ(archive->Runs().size(), 1u);
  EXPECT_EQ(archive->Runs()[0].last, known.periods);
  // A writer that goes on may repeat a value: samples more than there would be.
  std::vector<TSeries> series;
  std::string error;
  for (const std::size_t points : {std::size_t{3}, std::size_t{1000}}) {
    ASSERT_TRUE(archive->View(known.All(1, known.periods + 1, points), &series, &error)) << error;
    for (std::size_t i = 0; i < 8; ++i) ExpectWhole(known, i, series[i], 1, known.periods + 1, points);
  }
  EXPECT_EQ(std::count_if(series[0].points.begin(), series[0].points.end(),
                          [](const TPoint& point) { return point.quality == 2; }),
            known.periods / 5000 + 1);
  writer->End();
  EXPECT_FALSE(std::filesystem::exists(archive::DayPath(folder.Path(), archive::DayOf(known.run.start) + 1) + "-wal"));
}

TEST(Archive, ShowsWeeksAtAnyZoomInATenthOfASecond) {
  // Four weeks of ten periods a second, or a day of one.
  const bool isAll = std::getenv("LOOPBOX_ALL_ARCHIVE") != nullptr;
  const TKnown known(isAll ? 0.1 : 1.0, isAll ? 28.0 : 1.0, Mixed(isAll ? 5 : 50, isAll ? 45 : 0, 600));
  const tests::CFolder folder;
  CWriter writer(folder.Path(), known.run, known.channels, 0);
  const std::clock_t begin = std::clock();
  constexpr std::uint64_t kAtOnce = 100000;
  for (std::uint64_t at = 1; at <= known.periods; at += kAtOnce) {
    known.Give(&writer, at, std::min(known.periods + 1, at + kAtOnce));
    writer.Commit();
  }
  writer.End();
  const double written = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  const auto archive = Opened(folder.Path());
  const double longest = ExpectAnyView(known, *archive);
  EXPECT_LT(longest, 0.1);
  std::uint64_t size = 0;
  for (const archive::TDay& day : archive->Days()) size += day.size;
  std::printf("%zu days, %.1f MB, written in %.1f s of the processor, the longest view took %.1f ms\n",
              archive->Days().size(), static_cast<double>(size) * 1e-6, written, 1e3 * longest);
}

TEST(Archive, GoesOnWhereAFullDiskHasRoomAgain) {
  const TKnown known(1.0, 0.02, Mixed(20, 0, 1));
  const tests::CFolder folder;
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  auto writer = std::make_unique<CWriter>(folder.Path(), known.run, known.channels, 0);
  known.Give(writer.get(), 1, 200);
  writer->Commit();
  rlimit narrow = before;
  narrow.rlim_cur = 120000;
  setrlimit(RLIMIT_FSIZE, &narrow);
  std::string why;
  try {
    known.Give(writer.get(), 200, 1000);
    writer->Commit();
  } catch (const archive::TFailure& failure) {
    why = failure.what();
  }
  EXPECT_NE(why.find("2026-11-25.sqlite: "), std::string::npos) << why;
  writer.reset();
  EXPECT_EQ(Opened(folder.Path())->Runs()[0].last, 199u);
  setrlimit(RLIMIT_FSIZE, &before);
  writer = std::make_unique<CWriter>(folder.Path(), known.run, known.channels, 0);
  known.Give(writer.get(), 200, known.periods + 1);
  writer->End();
  ExpectAnyView(known, *Opened(folder.Path()));
}

TEST(Archive, DeletesOldDaysWhileTheyAreRead) {
  const TKnown known(600.0, 6.0, {1});
  const tests::CFolder folder;
  CWriter writer(folder.Path(), known.run, known.channels, 3);
  known.Give(&writer, 1, known.periods / 2);
  archive::CFolder days(folder.Path());
  std::size_t samples = 0;
  {
    const archive::CFolder::CReading reading(days);
    const auto pieces = days.Pieces(known.run.id, "c0", 1, known.periods);
    ASSERT_GE(pieces.size(), 2u);
    known.Give(&writer, known.periods / 2, known.periods + 1);
    writer.End();
    EXPECT_FALSE(std::filesystem::exists(archive::DayPath(folder.Path(), archive::DayOf(known.run.start) + 1)));
    archive::TSamples found;
    for (const auto& piece : pieces) piece.reader->Samples(*piece.channel, piece.from, piece.to, &found);
    samples = found.Count();
  }
  EXPECT_GT(samples, 100u);
  const archive::CFolder::CReading reading(days);
  EXPECT_EQ(days.Days().size(), 3u);
  EXPECT_GT(days.Runs()[0].first, known.periods / 2);
}

TEST(Archive, ASampleKeepsItsBits) {
  archive::TSamples samples;
  std::mt19937_64 random(1);
  for (const bool isEven : {true, false}) {
    samples.Clear();
    std::uint64_t period = 5;
    for (const double value : {0.0, -0.0, 1e308, -1e308, 5e-324, std::nan(""), HUGE_VAL, 0.1}) {
      samples.Add(period, value, isEven ? 0 : static_cast<std::uint8_t>(random() % 5));
      period += isEven ? 3 : 1 + random() % 100000;
    }
    const std::vector<std::uint8_t> bytes = archive::Coded(samples);
    archive::TSamples read;
    ASSERT_TRUE(archive::Decode(bytes, &read));
    EXPECT_EQ(read.periods, samples.periods);
    EXPECT_EQ(read.qualities, samples.qualities);
    EXPECT_EQ(std::memcmp(read.values.data(), samples.values.data(), 8 * samples.Count()), 0);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      EXPECT_FALSE(archive::Decode(std::span(bytes).first(size), &read));
    }
  }
}

// A run with a plant that loses an input for a while, and a noisy loop.
constexpr const char* kText =
    "application kept period = 0.5; duration = 400; end_application;\n"
    "data x : real = 20; zone : real[2]; on : boolean; n : integer = 7; u : real; end_data;\n"
    "process x' = (2 * u - x + noise(0.5)) / 10; zone[1] = x / 3; on = x > 30; end_process;\n"
    "connections\n  modbus device tcp = \"127.0.0.1\", 1;\n"
    "    input x from = input[0], float; end_input;\n  end_modbus;\nend_connections;\n"
    "instrument pid_regulator reg expression = x; wish_value = 50; output = u; end_instrument;\n";
// Nothing but what recorded data may drive.
constexpr const char* kDriven =
    "application driven period = 0.5; duration = 400; end_application;\n"
    "data x : real; zone : real[2]; on : boolean; n : integer; u : real; end_data;\n";

TEST(Archive, ComesBackAsInput) {
  const tests::CFolder folder;
  const std::string archive = folder.Path("a");
  const std::string kept = folder.Write("kept.lbx", kText);
  const std::string driven = folder.Write("driven.lbx", kDriven);
  tests::ExpectOutcome(Loopbox("run " + kept + " --quiet --lose x@10-20 --archive " + archive +
                               " --archive-days 2 --trace " + folder.Path("kept.csv")),
                       3, {"x"});
  tests::ExpectOutcome(Loopbox("archive list " + archive), 0, {"days (UTC)", "kept", "0.5 s", "400 s"});
  EXPECT_EQ(Loopbox("archive export " + archive + " --output " + folder.Path("x.csv")).status, 0);
  // The elements stand in front of all others in both traces.
  EXPECT_EQ(
      Loopbox("run " + driven + " --quiet --input " + folder.Path("x.csv") + " --trace " + folder.Path("driven.csv"))
          .status,
      0);
  const std::string cut = "cut -d, -f1-7 ";
  EXPECT_EQ(tests::Shell(cut + folder.Path("kept.csv") + " >" + folder.Path("1") + "; " + cut +
                         folder.Path("driven.csv") + " | tr -d '\\r' | cmp - " + folder.Path("1"))
                .output,
            "");
  // Another run, which begins while the first one's time goes on.
  tests::ExpectOutcome(Loopbox("run " + kept + " --quiet --duration 10 --archive " + archive), 0, {});
  tests::ExpectOutcome(tests::Shell(tests::BuildPath("loopbox") + " archive export " + archive + " --run 1 | cmp - " +
                                    folder.Path("x.csv")),
                       0, {});
  const auto opened = Opened(folder.Path("a"));
  ASSERT_EQ(opened->Runs().size(), 2u);
  const archive::TRun& later = opened->Runs()[1];
  std::vector<TSeries> series;
  std::string error;
  ASSERT_TRUE(opened->View({{"u", "none"}, opened->Runs()[0].start, later.start + 1e6, 1000, {}}, &series, &error))
      << error;
  ASSERT_EQ(series.size(), 2u);
  EXPECT_TRUE(series[1].points.empty());
  const std::vector<TPoint>& points = series[0].points;
  EXPECT_TRUE(
      std::is_sorted(points.begin(), points.end(), [](const TPoint& a, const TPoint& b) { return a.to < b.from; }));
  EXPECT_LE(points.back().to, later.TimeOf(later.last));
  EXPECT_GT(points.back().to, later.start);
  // x was lost for a while.
  ASSERT_TRUE(
      opened->View({{"x"}, opened->Runs()[0].start, later.start + 1e6, 1000, opened->Runs()[0].id}, &series, &error));
  EXPECT_TRUE(std::any_of(series[0].points.begin(), series[0].points.end(), [&](const TPoint& point) {
    const double second = point.from - opened->Runs()[0].start;
    return point.quality == 2 && second > 9.0 && second < 21.0;
  }));
  tests::ExpectOutcome(Loopbox("archive export " + archive + " --from 100.25 --to 101"), 0, {"\n100.5,", "\n101,"});
  for (const tests::TCall& call : std::vector<tests::TCall>{
           {"archive export " + archive + " --to 1999-01-01", 1, {"the archive has no run in that time"}},
           {"archive export " + archive + " --from x", 2, {"expected a time of ISO 8601", "found \"x\""}},
           {"archive list " + folder.Path("none"), 1, {"holds no archive"}},
           {"archive lose " + archive, 2, {"lose not in {list,export}"}},
           {"run " + kept + " --archive " + kept, 1, {"the archive can't be made"}},
           {"run " + kept + " --archive-days 2", 2, {"--archive"}}}) {
    tests::ExpectOutcome(Loopbox(call.arguments), call.status, call.parts);
  }
  // A damaged day is told by its name.
  const std::string day = folder.Path("a/" + opened->Days()[0].name + ".sqlite");
  std::ofstream(day, std::ios::binary) << std::string(5000, 'x');
  tests::ExpectOutcome(Loopbox("archive export " + archive), 1, {opened->Days()[0].name + ".sqlite: "});
}

}  // namespace
