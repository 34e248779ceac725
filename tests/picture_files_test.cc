// Pictures as files: icons, and the window during and after a run.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "painting/icon.h"
#include "painting/plot.h"
#include "painting/time_scale.h"
#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using tests::Loopbox;

TEST(PictureFiles, HoldTheIcons) {
  // 3 × 2 pixels: a mask of 101 and 010, the colours 9 C F and 1 2 A.
  constexpr std::uint8_t kIcon[] = ".NIC.IBW\3\0\2\0\xA0\x40.I04\3\0\2\0\x9C\xF0\x12\xA0";
  painting::TIcon icon;
  ASSERT_TRUE(painting::DecodeIcon(kIcon, &icon));
  EXPECT_EQ(icon.pixels, (std::vector<std::uint32_t>{0xFFFF0000, 0, 0xFFFFFFFF, 0, 0xFF008000, 0}));
}

TEST(PictureFiles, AreWrittenByTheProgram) {
  const tests::CFolder folder;
  const std::string dir = folder.Path("");
  const auto isPng = [](const std::string& path) { return tests::ReadFile(path).starts_with("\x89PNG"); };
  EXPECT_EQ(Loopbox("classes --images " + dir + "images").status, 0);
  int images = 0;  // the library's small image is a class's too
  for (const auto& entry : std::filesystem::directory_iterator(dir + "images")) images += isPng(entry.path());
  EXPECT_EQ(images, 7);
  const std::string run = "run " + tests::SourcePath("examples/plant.lbx") + " --quiet --duration 100 --panes " + dir;
  EXPECT_EQ(Loopbox(run + "p.png --panes-at 0 --panes-at 50").output, "");
  EXPECT_TRUE(isPng(dir + "p.png") && isPng(dir + "p-0.png") && isPng(dir + "p-50.png"));
  EXPECT_NE(tests::ReadFile(dir + "p-0.png"), tests::ReadFile(dir + "p.png"));
  EXPECT_EQ(Loopbox(run + "p.SVG").status, 0);
  EXPECT_NE(tests::ReadFile(dir + "p.SVG").find("<svg"), std::string::npos);
  const std::string plot = run + "q.png --plot " + dir + "q.svg ";
  const std::string meter = folder.Write("m.lbx", "instrument meter m end_instrument;");
  const std::string kept = "data x : real; end_data;\n";
  const std::string application = folder.Write("a.png", kept);
  const tests::TCall rows[] = {
      {run + "p.gif", 2, {"expected a name that ends in .png or .svg"}},
      {run + "none/p.png", 1, {"none/p.png: the picture can't be written: No such file or directory"}},
      {run + "images --panes-at 1", 2, {"--panes"}},
      {run + "p.png --panes-at 101", 2, {"--panes-at 101: the run ends at 100 s"}},
      {run + "p.png --panes-at -1", 2, {"--panes-at"}},
      {run + "p.png --plot " + dir + "q.png", 0, {}},
      {run + "r.png --plot " + dir + "r.png", 1, {"r.png: the picture would overwrite"}},
      {run + "s.png --panes-at 5 --plot " + dir + "s-5.png", 1, {}},
      {"run " + meter + " --plot " + dir + "m.svg", 1, {"no regulator to plot"}},
      {"run " + meter + " --plot " + dir + "m.svg --curves m.value", 0, {}},
      {run + "q.png --curves room", 2, {"--curves, --from and --to need --plot or --report"}},
      {plot + "--curves 'outside, boiler_control.value ;pump,flow_control.wish_value' --from 20 --to 60.5", 0, {}},
      {plot + "--curves outside,boiler_control.valu", 1, {"--curves: 'boiler_control.valu': ", "boiler_control.value"}},
      {plot + "--curves outsid", 1, {"--curves: 'outsid': ", "outside"}},
      {plot + "--curves 'outside;'", 1, {"--curves: expected names as \"pos,open;heat\", found \"outside;\""}},
      {plot + "--from 60 --to 60", 2, {"from 60 to 60 s is no part of the run, which ends at 100 s"}},
      {plot + "--from 60 --to 101", 2, {"from 60 to 101 s is no part"}},
      {"run " + application + " --panes " + application, 1, {}},
      {"run " + application + " --plot " + application, 1, {}},
  };
  for (const auto& [arguments, status, parts] : rows) {
    SCOPED_TRACE(arguments);
    tests::ExpectOutcome(Loopbox(arguments), status, parts);
  }
  EXPECT_TRUE(isPng(dir + "q.png"));
  EXPECT_EQ(tests::ReadFile(application), kept);
}

TEST(PictureFiles, TellLongTimesInHoursAndDays) {
  const struct {
    double from, to;
    std::u16string first, second, last, title;
  } rows[] = {
      {0, 900, u"0", u"100", u"900", u"time (s)"},
      {0, 7200, u"0", u"1000", u"7000", u"time (s)"},
      {0, 43200, u"0:00", u"2:00", u"12:00", u"time (h:min)"},
      {0, 172800, u"0:00", u"6:00", u"2 d", u"time (h:min)"},
      {64800, 151200, u"18:00", u"21:00", u"18:00", u"time (h:min)"},
      {180000, 180300, u"2 d 02:00:00", u"2:00:30", u"2:05:00", u"time (h:min:s)"},
      {9000, 9000.5, u"2:30:00.00", u"2:30:00.05", u"2:30:00.50", u"time (h:min:s)"},
      {0, 2e6, u"0 d", u"5 d", u"20 d", u"time (days)"},
  };
  for (const auto& [from, to, first, second, last, title] : rows) {
    const painting::TTimeAxis axis = painting::TimeAxis(from, to, 10);
    ASSERT_GT(axis.ticks.size(), 2u) << to;
    EXPECT_TRUE(axis.ticks[0].text == first && axis.ticks[1].text == second && axis.ticks.back().text == last)
        << runtime::Utf8(axis.ticks[0].text) << ", " << runtime::Utf8(axis.ticks[1].text) << " … "
        << runtime::Utf8(axis.ticks.back().text);
    EXPECT_EQ(axis.title, title);
  }
}

TEST(PictureFiles, ShadeWhereAShadeIsNotZero) {
  painting::CPlot plot;
  plot.AddCurve(plot.AddPanel("", "", 1), "value", painting::kPlotBlue, false);
  const std::size_t shade = plot.AddShade("in hand");
  for (int k = 1; k <= 10000; ++k) plot.Feed(k, {0.0, (k >= 3000 && k < 4000) || k == 9000 ? 1.0 : 0.0});
  const auto stretches = plot.Stretches(shade);
  ASSERT_EQ(stretches.size(), 2u);
  EXPECT_NEAR(stretches[0].from, 3000, 10);
  EXPECT_NEAR(stretches[0].to, 4000, 10);
  EXPECT_NEAR(stretches[1].from, 9000, 10);
}

TEST(PictureFiles, PlotWhatFitsAndSayTheRest) {
  const tests::CFolder folder;
  const std::string many = folder.Write("many.lbx",
                                        "application many period = 1; duration = 2; end_application; data x : real[60];"
                                        " u : real[60]; end_data; for i = 0 to 59 instrument pid_regulator r{i}"
                                        " expression = x[i]; wish_value = 1; output = u[i]; end_instrument; end_for;");
  tests::ExpectOutcome(Loopbox("run " + many + " --plot " + folder.Path("many.svg")), 0,
                       {"--plot: … 14 more regulators: --curves chooses what is drawn, --report shows all"});
  EXPECT_NE(tests::ReadFile(folder.Path("many.svg")).find("height=\"16068"), std::string::npos);
}

// A peak of one sample among a million stays, in a picture of the usual size.
TEST(PictureFiles, PlotEveryPeakOfALongRun) {
  constexpr std::size_t kSamples = 1000000;
  painting::CPlot plot;
  plot.AddCurve(plot.AddPanel("long", "m", 2), "value", painting::kPlotBlue, false);
  for (std::size_t k = 0; k < kSamples; ++k) {
    plot.Feed(0.1 * double(k), {k == 1234 ? -7.0 : k == 987654 ? 9.0 : std::sin(1e-5 * double(k))});
  }
  const auto& buckets = plot.Buckets(0);
  ASSERT_EQ(buckets.size(), plot.Times().size());
  EXPECT_LE(buckets.size(), 2048u);
  double earlier = -1;
  for (std::size_t i = 0; i < buckets.size(); ++i) {
    const double k = plot.Times()[i] / 0.1;
    EXPECT_GT(plot.Times()[i], earlier);
    earlier = plot.Times()[i];
    const double end = i + 1 < buckets.size() ? plot.Times()[i + 1] / 0.1 : double(kSamples);
    EXPECT_EQ(buckets[i].lowest == -7.0, k <= 1234 && 1234 < end) << i;
    EXPECT_EQ(buckets[i].highest == 9.0, k <= 987654 && 987654 < end) << i;
    EXPECT_NEAR(buckets[i].first, std::sin(1e-5 * k), 1e-9);
  }
  std::string svg, error;
  ASSERT_TRUE(plot.Picture(painting::EFormat::kSvg, &svg, &error)) << error;
  EXPECT_LT(svg.size(), 200000u);
}

}  // namespace
