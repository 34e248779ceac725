// What a panel remembers of a run, and by which names it is reached.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "panel/server/journal_lines.h"
#include "panel/server/request.h"
#include "panel/server/samples.h"
#include "tests/support.h"

namespace {

// A hundred samples at most, of which one is a peak.
class PanelSamples : public testing::Test {
 protected:
  static constexpr std::size_t kCapacity = 100;

  static std::unique_ptr<live::CSharedBlock> Block() {
    std::string error;
    return live::CSharedBlock::Make(panel::CSamples::Bytes(2, kCapacity), &error);
  }
  void Fill(int count) {
    for (int i = 0; i < count; ++i) {
      const double values[] = {i == peak ? 1000.0 : i, i % 3 == 0 ? std::nan("") : -i};
      samples.Add(0.25 * i, values);
      samples.Add(0.25 * i, values);  // seen twice
    }
  }
  panel::TTrend Trend(double from, double to, std::size_t points) const {
    return samples.Trend(std::vector<std::size_t>{0, 1}, from, to, points);
  }

  int peak = 177;
  std::unique_ptr<live::CSharedBlock> block = Block();
  panel::CSamples samples{*block, 2, kCapacity};
};

TEST_F(PanelSamples, AreRememberedOnceAndInOrder) {
  EXPECT_TRUE(samples.IsEmpty());
  EXPECT_TRUE(Trend(0.0, 1e9, 10).series[0].empty());
  Fill(250);
  EXPECT_EQ(samples.FirstTime(), 0.25 * (250 - kCapacity + 1));
  const panel::TTrend all = Trend(-1e300, 1e300, 2000);
  EXPECT_EQ(all.resolution, 0.0);
  ASSERT_EQ(all.series[0].size(), kCapacity - 1);
  for (std::size_t i = 0; i < all.series[0].size(); ++i) {
    const panel::TPoint& point = all.series[0][i];
    EXPECT_EQ(point.time, samples.FirstTime() + 0.25 * static_cast<double>(i));
    EXPECT_TRUE(point.low == point.mean && point.high == point.mean);
  }
  EXPECT_EQ(Trend(50.0, 51.0, 2000).series[0].size(), 5u);  // with both ends
  EXPECT_TRUE(Trend(51.0, 50.0, 2000).series[0].empty());
}

TEST_F(PanelSamples, AreJoinedWithoutLosingAPeak) {
  Fill(250);
  for (const std::size_t points : {1, 2, 3, 7, 50}) {
    for (double from = 37.0; from < 44.0; from += 0.3) {
      const panel::TTrend trend = Trend(from, 60.0, points);
      const std::vector<panel::TPoint>& series = trend.series[0];
      ASSERT_LE(series.size(), points);
      EXPECT_GT(trend.resolution, 0.0);
      double top = 0.0;
      for (std::size_t i = 0; i < series.size(); ++i) {
        EXPECT_TRUE(series[i].low <= series[i].mean && series[i].mean <= series[i].high);
        EXPECT_TRUE(i == 0 || series[i - 1].time < series[i].time);
        top = std::max(top, series[i].high);
      }
      EXPECT_EQ(top, 1000.0);
      double bottom = 0.0;
      for (const panel::TPoint& point : trend.series[1]) bottom = std::fmin(bottom, point.low);
      EXPECT_EQ(bottom, -239.0);  // what isn't finite is passed over
    }
  }
}

TEST(PanelGate, NamesThePanelByWhatItListensOnAndWhatItIsGiven) {
  const panel::TGate gate = panel::MakeGate({"127.0.0.1", "[::1]"}, 8481, false, {"Oven.Example", "tunnel:9000"}, {});
  std::set<std::string> hosts;
  for (const auto& [host, origins] : gate.hosts) {
    hosts.insert(host);
    for (const std::string& origin : origins) EXPECT_TRUE(origin == "http://" + host || origin == "https://" + host);
    EXPECT_EQ(origins.size(), host.find("tunnel") == 0 || host.find("oven") == 0 ? 2u : 1u);
  }
  EXPECT_EQ(hosts, (std::set<std::string>{"127.0.0.1:8481", "[::1]:8481", "localhost:8481", "oven.example",
                                          "oven.example:8481", "tunnel:9000"}));
  for (const char* host : {"oven", "oven.example:443", "192.168.1.20", "[fe80::1]", "[::1]:8480"}) {
    EXPECT_TRUE(panel::IsHost(host)) << host;
  }
  for (const char* host : {"", ":80", "oven:", "oven:0", "oven:65536", "http://oven", "a b", "[]", "::1", "[::1]x"}) {
    EXPECT_FALSE(panel::IsHost(host)) << host;
  }
}

TEST(PanelJournal, IsReadBackwardsWhileItGrows) {
  const tests::CFolder folder;
  const std::string name = folder.Write("j", "{\"line\":1}\n{\"line\":2}\nno JSON\n{\"line\":4}");
  panel::CJournalLines lines(name);
  EXPECT_EQ(lines.Read({}, 10), R"({"lines":[{"line":1},{"line":2}],"first":1,"total":3})");
  folder.Write("j", "{\"line\":1}\n{\"line\":2}\nno JSON\n{\"line\":4}\n{\"line\":5}\n");
  EXPECT_EQ(lines.Read({}, 2), R"({"lines":[{"line":4},{"line":5}],"first":4,"total":5})");
  EXPECT_EQ(lines.Read(4, 2), R"({"lines":[{"line":2}],"first":2,"total":5})");
  EXPECT_EQ(lines.Read(1, 2), R"({"lines":[],"first":1,"total":5})");
  EXPECT_EQ(panel::CJournalLines("").Read({}, 2), R"({"lines":[],"first":1,"total":0})");
}

}  // namespace
