// Pictures, drawn into memory and looked at by colour.
#include "painting/painting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <ctime>
#include <memory>
#include <numbers>
#include <tuple>
#include <utility>

#include "painting/live_panes.h"
#include "painting/views.h"
#include "runtime/platform/text_metrics.h"
#include "tests/support.h"

namespace {

using tests::CRun;

// Colours as 0xRRGGBB: those of a meter's defaults, and one that is in none.
constexpr std::uint32_t kValue = 0x00FF00, kLow = 0x00FFFF, kHigh = 0xFF0000, kInk = 0xFFFFFF, kBackground = 0xFF00FF;
const std::string kModes[] = {"dial",   "half_dial", "bar",     "column",      "slider",
                              "number", "lamp",      "led_bar", "thermometer", "history"};

struct TFound {  // pixels that answer to a condition
  int count = 0, left = 1 << 20, right = -1, top = 1 << 20, bottom = -1;
  std::complex<double> centre;
};

struct TImage {
  TImage(int width, int height, const view::CView* view = nullptr, const painting::TMeterTexts& texts = {})
      : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), cairo_surface_destroy),
        context(cairo_create(surface.get()), cairo_destroy),
        canvas(context.get()) {
    canvas.Fill({0, 0, double(width), double(height)}, kBackground);
    if (view != nullptr) PaintView(canvas, *view, texts);
    cairo_surface_flush(surface.get());
  }
  // Pixels whose channels are within `tolerance` of a colour's, or are not.
  TFound Find(std::uint32_t color, int tolerance = 70, bool within = true) const {
    TFound found;
    const int width = cairo_image_surface_get_width(surface.get());
    const unsigned char* pixel = cairo_image_surface_get_data(surface.get());
    for (int at = 0; at < width * cairo_image_surface_get_height(surface.get()); ++at, pixel += 4) {
      int furthest = 0;
      for (int i = 0; i < 3; ++i) furthest = std::max(furthest, std::abs(pixel[i] - int(color >> 8 * i & 0xFF)));
      if ((furthest <= tolerance) != within) continue;
      const int x = at % width, y = at / width, n = found.count++;
      found.left = std::min(found.left, x), found.right = std::max(found.right, x);
      found.top = std::min(found.top, y), found.bottom = std::max(found.bottom, y);
      found.centre = (found.centre * double(n) + std::complex<double>(x, y)) / (n + 1.0);
    }
    return found;
  }
  TFound Painted() const { return Find(kBackground, 0, false); }

  std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface;
  std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context;
  painting::CCanvas canvas;
};

CRun MeterRun(const std::string& entries) {
  return CRun("data x : real; end_data; instrument meter m position = 5, 5, 160, 120; expression = x; " + entries +
              " end_instrument;\n");
}

TFound Shown(CRun& run, double value, std::uint32_t color) {
  run.Meter("m").SetMeterValue(value);
  return TImage(170, 130, &run.Meter("m")).Find(color);
}

TEST(Painting, TurnsTheNeedleWithTheValueAndStopsItAtTheEnds) {
  for (const auto& [mode, sweep] : {std::pair<std::string, double>{"dial", 270}, {"half_dial", 180}}) {
    CRun run = MeterRun("mode = " + mode + "; low_limit = -1000; high_limit = 1000;");
    const auto needle = [&run](double value) { return Shown(run, value, kValue).centre; };
    // The needle's middle runs on a circle, whose centre three of its points give.
    const auto a = needle(0), b = needle(50), ba = b - a, ca = needle(100) - a;
    const double cross = 2 * (ba.real() * ca.imag() - ba.imag() * ca.real());
    const std::complex<double> hub = a + std::complex<double>(0, 1) * (std::norm(ca) * ba - std::norm(ba) * ca) / cross;
    for (const double value : {0.0, 12.5, 25.0, 60.0, 75.0, 99.0, 100.0, 250.0, -40.0}) {
      const double turned = std::arg((needle(value) - hub) / (b - hub)) * 180 / std::numbers::pi;
      EXPECT_NEAR(turned, (std::clamp(value, 0.0, 100.0) - 50) / 100 * sweep, 2.5) << mode << " " << value;
    }
  }
}

TEST(Painting, MakesStraightFacesAsLongAsTheValue) {
  for (const auto& [mode, tolerance] : {std::pair<std::string, double>{"bar", 1.5}, {"column", 1.5}, {"led_bar", 9}}) {
    CRun run = MeterRun("mode = " + mode + "; low_limit = -9; high_limit = 999; mask = \" \";");
    const auto length = [&, upright = mode == "column"](double value) {
      const TFound found = Shown(run, value, kValue);
      return found.count == 0 ? 0 : upright ? found.bottom - found.top + 1 : found.right - found.left + 1;
    };
    for (const std::uint32_t content : {gaugekit::kPlain, gaugekit::kScale, gaugekit::kFull}) {
      run.Meter("m").content = content;
      const double whole = length(100);
      if (content == gaugekit::kPlain) {
        EXPECT_NEAR(whole, mode == "column" ? 99 : 139, 4) << mode;  // as the pane without its frame and margins
      }
      for (const double value : {-5.0, 0.0, 30.0, 50.0, 85.0, 130.0}) {
        EXPECT_NEAR(length(value), whole * std::clamp(value / 100, 0.0, 1.0), tolerance) << mode << content << value;
      }
    }
  }
  CRun run = MeterRun("mode = slider;");
  const double left = Shown(run, 0, kValue).centre.real(), right = Shown(run, 100, kValue).centre.real();
  EXPECT_NEAR(right - left, 139, 4);
  EXPECT_NEAR(Shown(run, 25, kValue).centre.real(), left + (right - left) / 4, 1);
}

TEST(Painting, ShowsValuesBeyondALimitInItsColour) {
  for (const std::string& mode : kModes) {
    if (mode == "history") continue;  // its past keeps its colours
    CRun run = MeterRun("mode = " + mode + "; low_limit = 20; high_limit = 80; font = \"Sans\", 40, bold;");
    for (const auto& [value, color] : {std::pair{10.0, kLow}, {20.0, kValue}, {80.0, kValue}, {95.0, kHigh}}) {
      for (const std::uint32_t other : {kLow, kValue, kHigh}) {
        EXPECT_EQ(Shown(run, value, other).count > 0, other == color) << mode << " " << value << " " << other;
      }
    }
  }
}

TEST(Painting, ColoursNothingByALimitThatNobodyGave) {
  for (const std::string& mode : kModes) {
    for (const auto& [given, low, high] :
         {std::tuple{"", false, false}, {"low_limit = 20;", true, false}, {"high_limit = 80;", false, true}}) {
      CRun run = MeterRun("mode = " + mode + "; content = full; range_from = -50; range_to = 150; " + given);
      bool seen[2] = {};  // by value or zone
      for (const double value : {-10.0, 110.0}) {
        run.SetValue("x", value);
        run.Steps(1);
        seen[0] = seen[0] || TImage(170, 130, &run.Meter("m")).Find(kLow).count > 0;
        seen[1] = seen[1] || TImage(170, 130, &run.Meter("m")).Find(kHigh).count > 0;
      }
      EXPECT_TRUE(seen[0] == low && seen[1] == high) << mode << " " << given;
    }
  }
}

// Letters of an SVG are glyphs that are used.
std::size_t Letters(const CRun& run) {
  std::string svg, error;
  EXPECT_TRUE(painting::Picture(*run, painting::EFormat::kSvg, &svg, &error)) << error;
  std::size_t count = 0;
  for (std::size_t at = svg.find("<use "); at != std::string::npos; at = svg.find("<use ", at + 1)) ++count;
  return count;
}

TEST(Painting, ShowsNameNumberAndUnitWhereNoModeIsGiven) {
  const std::string head = "data x : real = 8 \"km\"; end_data; instrument meter gauge expression = x; ";
  const std::size_t name = 5, number = 3, unit = 2;
  for (const auto& [entries, letters] : {std::pair<const char*, std::size_t>{"mode = bar;", name},
                                         {"", name + name + number + 1 + unit},
                                         {"mode = number;", name + number}}) {
    const CRun run(head + entries + " position = 10, 20, 160, 60; end_instrument;");
    EXPECT_EQ(Letters(run), letters) << entries;
  }
  // Of a pane: as its class describes it, unless that stands there already.
  const auto pid = [](const std::string& entries) {
    return Letters(
        CRun("data v : real \"km\"; u : real \"%\"; end_data; instrument pid_regulator r expression = v;"
             " wish_value = v; output = u; position = 10, 20, 900, 60; " +
             entries + " end_instrument;"));
  };
  EXPECT_EQ(pid(""), pid("show_description;"));
  EXPECT_GT(pid(""), pid("value_section mode = bar; end_value_section;"));
}

TEST(Painting, BeginsAHistoryWhereTheRunBegan) {
  CRun run = MeterRun("mode = history; history = 20;");
  gaugekit::CMeter& meter = run.Meter("m");
  EXPECT_EQ(TImage(170, 130, &meter).Find(kValue, 100).count, 0);
  run.SetValue("x", 80);
  run.Steps(6);
  const TFound curve = TImage(170, 130, &meter).Find(kValue, 100);
  EXPECT_EQ(curve.bottom - curve.top, 1);  // a level line, from no other
  run.Steps(15);
  const TFound whole = TImage(170, 130, &meter).Find(kValue, 100);
  EXPECT_NEAR(curve.right - curve.left, (whole.right - whole.left) / 4.0, 3);
  meter.content = gaugekit::kFull;
  // With its times below, where they are known.
  const auto ink = [&](double step) {
    return TImage(170, 130, &meter, {{&meter, {u"", u"", true, 2.1, step}}}).Find(kInk).count;
  };
  EXPECT_GT(ink(0.1), ink(0) + 20);
}

TEST(Painting, PutsTheNewestSampleAtTheRightEdge) {
  CRun run = MeterRun("mode = history; history = 20; low_limit = 10;");
  const auto high = [&run] { return TImage(170, 130, &run.Meter("m")).Find(kValue); };
  run.SetValue("x", 80);
  run.Steps(1);
  EXPECT_NEAR(high().right, 154, 4);
  run.SetValue("x", 0);
  run.Steps(10);  // the high sample is half the history old now
  EXPECT_NEAR(high().centre.real(), 85, 3);
  CRun pair(
      "data v : real = 30; u : real; end_data; instrument pid_regulator m position = 0, 0, 300, 100; output = u;\n"
      "expression = v; wish_value = 2 * v; value_section mode = history; end_value_section; end_instrument;\n");
  pair.Steps(150);
  const TImage both(300, 100, &pair.Meter("m", runtime::kValuePane));
  EXPECT_TRUE(both.Find(kValue, 100).count > 60 && both.Find(kInk, 100).count > 60);
}

TEST(Painting, PaintsNothingOutsideAPane) {
  for (const std::string& mode : kModes) {
    CRun run = MeterRun("mode = " + mode + "; h_grid = 3; v_grid = 3; mask = \"[[#]]\"; font = \"Sans\", 30, bold;");
    gaugekit::CMeter& meter = run.Meter("m");
    meter.SetMeterValue(-1e20);
    for (meter.content = gaugekit::kPlain; meter.content <= gaugekit::kFull; ++meter.content) {
      for (const auto& [width, height] : {std::pair{1, 1}, {3, 70}, {70, 3}, {20, 20}, {60, 14}, {85, 40}, {165, 90}}) {
        meter.rect = {5, 5, width, height};
        const TFound all = TImage(180, 110, &meter).Painted();
        EXPECT_EQ(all.count, width * height) << mode << meter.content << width;
        EXPECT_TRUE(all.left == 5 && all.right == 4 + width && all.top == 5 && all.bottom == 4 + height);
      }
    }
    meter.hidden = 1;  // by blinking
    EXPECT_EQ(TImage(180, 110, &meter).Painted().count, 0);
  }
}

TEST(Painting, KeepsTextWithinItsRectangle) {
  for (const auto& [width, height] : {std::pair{15, 15}, {40, 9}, {40, 15}, {90, 4}, {90, 40}, {140, 15}}) {
    TImage image(200, 80);
    const painting::TBox box = {20, 20, double(width), double(height)};
    image.canvas.CutText(box, u"Žádaná hodnota", painting::TFont(vgr::SystemN9), painting::EAlign::kCentre, 0xFFFFFF);
    const TFound text = image.Painted();
    EXPECT_TRUE(text.left >= 19 && text.right <= 20 + width && text.top >= 19 && text.bottom <= 20 + height);
    EXPECT_NEAR(text.left + text.right, 40 + width, 4) << width;
  }
  painting::UseFontMetrics();
  CRun run(
      "instrument pid_regulator m position = 0, 0, 600, 99; expression = 1; wish_value = 1; show_description;"
      " end_instrument;\n");
  runtime::SetTextMeasure(nullptr);
  run.Meter("m", runtime::kValuePane).disabled = 1;
  const view::CView* text = run.Object("m").firstChild;  // the description of the value's pane
  EXPECT_NEAR(TImage(600, 99, text).Painted().centre.real(), text->rect.x + text->rect.width / 2.0, 3);
  EXPECT_NEAR(TImage(600, 99, &run.Object("m")).Find(kBackground, 0).count, 200 * 99 - 700, 300);  // no meter there
}

TEST(Painting, ShowsEveryColourWordAndTheGrid) {
  CRun run = MeterRun("mode = history; content = full; h_grid = 4; v_grid = 5; low_limit = 20; high_limit = 80;");
  gaugekit::CMeter& meter = run.Meter("m");
  run.SetValue("x", 50);
  run.Steps(50);
  for (std::uint32_t* word = &meter.colors.borderInk; word <= &meter.colors.vGrid; ++word) {
    const std::uint32_t before = std::exchange(*word, 0x2080FF);
    meter.SettingsChanged();
    EXPECT_GT(TImage(170, 130, &meter).Find(0xFF8020).count, 30) << word - &meter.colors.borderInk;
    *word = before;
  }
}

TEST(Painting, DrawsInAnotherProcessWhatActsInOne) {
  const std::string text =
      "application a period = 1; duration = 9999; end_application;\n"
      "data x : real = 40; w : real = 50; u : real; b : boolean; p : boolean; m : boolean; end_data;\n"
      "process x' = (u - x) / 5; end_process;\n"
      "instrument pid_regulator both position = 0, 0, 500, 140; value_section mode = history; low_limit = 45;"
      " content = full; end_value_section; wish_value_section mode = history; history = 1000; end_wish_value_section;"
      " wish_value = w; expression = x; output = u; show_description; end_instrument;\n"
      "instrument boolean_regulator two position = 0, 200, 300, 90; output_section mode = lamp; ratio = 2;"
      " end_output_section; value_section ratio = 0; end_value_section; wish_value = w; expression = x; output = b;"
      " end_instrument;\n"
      "instrument step_regulator steps position = 0, 300, 300, 90; wish_value = w; expression = x; output_plus = p;"
      " output_minus = m; end_instrument;\n"
      "instrument meter short position = 0, 400, 200, 90; mode = history; history = 1000; expression = x; "
      "end_instrument;\n"
      "instrument meter long position = 0, 500, 200, 90; mode = history; history = 1500; expression = x; "
      "end_instrument;\n";
  CRun acting(text), seen(text);
  const painting::CLivePanes kept(*acting);
  painting::CLivePanes shown(*seen);
  std::vector<double> numbers(kept.Size());
  const auto compare = [&](std::size_t count) {
    kept.Keep(numbers);
    shown.Show(numbers);
    painting::CLivePanes direct(*acting);
    direct.Show(numbers);
    for (std::size_t i = 0; i < count; ++i) {
      std::string there, here, error;
      EXPECT_TRUE(shown.InstrumentPicture(i, painting::EFormat::kPng, {350, 150}, &there, &error)) << error;
      EXPECT_TRUE(direct.InstrumentPicture(i, painting::EFormat::kPng, {350, 150}, &here, &error)) << error;
      EXPECT_TRUE(there == here) << i;
    }
  };
  compare(5);
  for (const std::uint64_t periods : {1, 60, 900, 400, 1000}) {
    acting.Steps(periods);
    compare(5);
  }
  acting.SetValue("w", 12);
  acting.Meter("two").colors.value = 0x2080FF;
  acting.Meter("short").rangeTo = 60;
  acting.Meter("short").SettingsChanged();
  acting.Meter("steps", runtime::kValuePane).SetDisable(1);
  acting.Object("long").InstrumentHide();
  acting.Steps(1);
  compare(5);
  acting.Object("long").InstrumentShow();
  acting.Steps(1100);
  compare(4);  // the long history has lost 76 samples
  EXPECT_EQ(seen.Meter("long").samples, 1024u);
  std::string picture, error;
  for (const painting::TPictureSize size : {painting::TPictureSize{0, 10}, {16385, 10}, {16384, 16384}}) {
    EXPECT_FALSE(shown.InstrumentPicture(0, painting::EFormat::kPng, size, &picture, &error));
    EXPECT_EQ(error, "a picture of that size can't be drawn");
  }
  seen.Object("two").SetDisable(1);
  EXPECT_FALSE(shown.InstrumentPicture(1, painting::EFormat::kPng, {10, 10}, &picture, &error));
  EXPECT_EQ(error, "'two' is not seen in the window");
}

TEST(Painting, CutsALongTextSoon) {
  TImage image(200, 40);
  const std::clock_t start = std::clock();
  const std::u16string text(5'000'000, u'W');
  image.canvas.CutText({20, 10, 100, 16}, text, painting::TFont(vgr::SystemN9), painting::EAlign::kLeft, 0xFFFFFF);
  EXPECT_GT(image.Painted().right, 100);
  EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 1.0);
}

}  // namespace
