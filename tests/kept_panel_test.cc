// What was kept of a run, as the panel's page asks for it.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "json/json.h"
#include "panel/server/archived.h"
#include "panel/server/kept_source.h"
#include "tests/support.h"

namespace {

const std::vector<std::string> kColumns = {
    "x", "zone[0]", "heater.wish_value", "heater.value", "heater.output", "heater.r0", "gauge.value", "x.quality"};

// A row a second, of which each item has its number times the time.
std::unique_ptr<panel::CRows> Rows(const panel::TKeptColumns& kept, std::size_t count) {
  std::vector<double> rows;
  for (std::size_t i = 0; i < count; ++i) {
    rows.push_back(static_cast<double>(i + 1));
    for (std::size_t column = 0; column < kept.items.size(); ++column) rows.push_back(static_cast<double>(column * i));
  }
  std::string error;
  return panel::CRows::Make(kept.items, rows, &error);
}

TEST(KeptPanel, MakesAModelOfATracesColumns) {
  panel::TKeptColumns kept(kColumns);
  EXPECT_EQ(kept.items, std::vector<std::string>(
                            {"x", "zone[0]", "heater.wish", "heater.value", "heater.output", "", "gauge.value", ""}));
  auto rows = Rows(kept, 10);
  panel::CKeptSource source(std::move(kept.model), std::move(rows));
  EXPECT_FALSE(source.IsLive());
  EXPECT_EQ(source.Names().instruments, std::vector<std::string>({"heater", "gauge"}));
  const json::CValue model = json::CValue::Parse(source.Model(true)).value();
  EXPECT_EQ(model.Member("mayOperate").Text() + model.Member("isLive").Text(), "falsefalse");
  EXPECT_EQ(model.Member("elements").Elements().size(), 2u);
  EXPECT_EQ(model.Member("instruments").Elements()[0].Member("kind").String(), "continuous");
  EXPECT_EQ(model.Member("instruments").Elements()[1].Member("kind").String(), "meter");
  std::string picture, error;
  EXPECT_FALSE(source.Picture(0, panel::EPicture::kSvg, 0, 0, &picture, &error));
  EXPECT_EQ(error, "there are no pictures of a run that is over");
  EXPECT_TRUE(json::CValue::Parse(source.Journal({}, 10)));
}

TEST(KeptPanel, YieldsEachRowOfATraceOnce) {
  const panel::TKeptColumns kept(kColumns);
  const auto rows = Rows(kept, 1000);
  for (const char* item : {"x", "heater.wish", "gauge.value", "gauge.wish"}) EXPECT_TRUE(rows->Knows(item)) << item;
  for (const char* item : {"y", "heater", "heater.r0", "", "x.quality", "x.wish"})
    EXPECT_FALSE(rows->Knows(item)) << item;
  std::string error;
  panel::TTrend trend;
  ASSERT_TRUE(rows->Read({"heater.value", "gauge.wish", "x"}, 0.0, 2000.0, 2000, &trend, &error));
  ASSERT_EQ(trend.series.size(), 3u);
  ASSERT_EQ(trend.series[0].size(), 1000u);
  for (std::size_t i = 0; i < 1000; ++i) {
    EXPECT_EQ(trend.series[0][i].time, static_cast<double>(i + 1));
    EXPECT_EQ(trend.series[0][i].mean, 3.0 * static_cast<double>(i));
  }
  EXPECT_TRUE(trend.series[1].empty());
  ASSERT_TRUE(rows->Read({"heater.value"}, 100.0, 700.0, 50, &trend, &error));
  EXPECT_LE(trend.series[0].size(), 50u);
  EXPECT_EQ(trend.series[0].front().low, 297.0);
  EXPECT_EQ(trend.series[0].back().high, 2097.0);
}

TEST(KeptPanel, YieldsEachSampleOfAnArchiveAndHoldsTheLast) {
  const tests::CFolder folder;
  const std::string text =
      folder.Write("a.lbx",
                   "application a period = 0.5; duration = 40; end_application;\ndata x : real; still : real = 3; "
                   "switched : real; end_data;\nprocess x = time * time; switched = floor(time / 20.25);"
                   " end_process;\ninstrument meter gauge expression = x; end_instrument;\n");
  tests::ExpectOutcome(tests::Loopbox("run " + text + " --quiet --archive " + folder.Path("kept")), 0, {});
  std::string error;
  EXPECT_EQ(panel::CArchived::Open(folder.Path(), &error), nullptr);
  const auto archived = panel::CArchived::Open(folder.Path("kept"), &error);
  ASSERT_NE(archived, nullptr) << error;
  EXPECT_TRUE(archived->Knows("gauge.value") && archived->Knows("gauge.output") && !archived->Knows("gauge"));
  panel::TTrend trend;
  ASSERT_TRUE(archived->Read({"x", "still", "switched", "gauge.wish"}, 0.0, 99.0, 2000, &trend, &error)) << error;
  ASSERT_EQ(trend.series[0].size(), 80u);
  for (std::size_t i = 0; i < 80; ++i) {
    const double time = 0.5 * static_cast<double>(i + 1);
    EXPECT_NEAR(trend.series[0][i].time, time, 1e-6);
    EXPECT_EQ(trend.series[0][i].mean, time * time);
  }
  const auto corners = [&trend](std::size_t series) {
    std::string told;
    for (const panel::TPoint& point : trend.series[series]) {
      told += std::to_string(point.time).substr(0, 4) + "=" + std::to_string(point.mean).substr(0, 1) + " ";
    }
    return told;
  };
  EXPECT_EQ(corners(1), "0.50=3 40.0=3 ");
  EXPECT_EQ(corners(2), "0.50=0 20.0=0 20.5=1 40.0=1 ");
  EXPECT_EQ(corners(3), "");
  // One that follows sees a run that began later only.
  const auto early = panel::CArchived::Follow(folder.Path("kept"), archived->Run().start + 1.0);
  ASSERT_TRUE(early->Read({"x"}, 0.0, 99.0, 2000, &trend, &error));
  EXPECT_TRUE(trend.series[0].empty());
  const auto late = panel::CArchived::Follow(folder.Path("kept"), archived->Run().start - 1.0);
  ASSERT_TRUE(late->Read({"x"}, 10.0, 20.0, 2000, &trend, &error));
  EXPECT_EQ(trend.series[0].size(), 21u);
}

TEST(KeptPanel, ServesATraceUntilItIsInterrupted) {
  const tests::CFolder folder;
  const std::string trace = folder.Write("run.csv", "time,x,heater.wish_value,heater.value,heater.output\n1,2,3,4,5\n");
  const tests::TOutcome shown =
      tests::Shell("bash -c '" + tests::BuildPath("loopbox") + " panel " + trace + " >" + folder.Path() +
                   "/out & program=$!;"
                   " for wait in {1..100}; do sleep 0.02; IFS=/:#= read -r _ _ _ _ host port _ _ token <" +
                   folder.Path() +
                   "/out && break; done;"
                   " exec 3<>/dev/tcp/$host/$port; printf \"GET /history?items=x&from=0&to=9&points=5 "
                   "HTTP/1.1\\r\\nHost: $host:$port\\r\\n"
                   "Loopbox-Token: $token\\r\\nConnection: close\\r\\n\\r\\n\" >&3; cat <&3; kill -INT $program; wait "
                   "$program; echo \" status $?\"'");
  tests::ExpectOutcome(shown, 0, {"200 OK", "\"x\"", "[2", "status 0"});
}

TEST(KeptPanel, SaysWhatItCannotShow) {
  const tests::CFolder folder;
  const std::pair<std::string, std::string> files[] = {
      {"time,x\n", "it has no rows"},
      {"x,y\n1,2\n", "it has no column time"},
      {"time,x\n2,1\n1,1\n", "FILE:3"},
  };
  for (const auto& [text, problem] : files) {
    const tests::TOutcome outcome = tests::Loopbox("panel " + folder.Write("FILE", text));
    tests::ExpectOutcome(outcome, 1, {problem});
  }
  tests::ExpectOutcome(tests::Loopbox("panel " + folder.Path()), 1, {folder.Path()});
}

}  // namespace
