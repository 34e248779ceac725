// The panes of a regulator: their places, colours, sizes and histories.
#include <gtest/gtest.h>

#include <utility>

#include "runtime/instruments/meters.h"
#include "runtime/platform/text_metrics.h"
#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using runtime::kOutputPane;
using runtime::kValuePane;
using runtime::kWishPane;
using tests::CRun;
using tests::OneRegulator;

constexpr int kHeight = 50;

std::string Pid(const std::string& entries) { return OneRegulator("pid_regulator", entries); }

std::string Section(const std::string& name, const std::string& entries) {
  return name + "_section " + entries + " end_" + name + "_section; ";
}

std::string Sections(const std::string& wish, const std::string& value, const std::string& output) {
  return Section("wish_value", wish) + Section("value", value) + Section("output", output);
}

struct TPanePlace {
  int x;
  int width;
  bool shown;
};

struct TLayoutCase {
  const char* what;
  int ratios[3];  // wish value, value, output
  int positions[3];
  int width;
  TPanePlace places[3];
};

const TLayoutCase kLayouts[] = {
    {"thirds", {1, 1, 1}, {1, 2, 3}, 100, {{0, 33, true}, {33, 33, true}, {66, 34, true}}},
    {"no room for the third", {1, 1, 0}, {1, 2, 3}, 100, {{0, 50, true}, {50, 50, true}, {100, 0, false}}},
    {"one pixel hides the third", {1, 1, 0}, {1, 2, 3}, 101, {{0, 50, true}, {50, 50, true}, {100, 1, false}}},
    {"even with a ratio", {49, 50, 1}, {1, 2, 3}, 100, {{0, 49, true}, {49, 50, true}, {99, 1, false}}},
    {"two pixels do not", {1, 1, 1}, {1, 2, 3}, 2, {{0, 0, true}, {0, 0, true}, {0, 2, true}}},
    {"the third with ratio 0", {1, 1, 0}, {1, 3, 2}, 101, {{0, 50, true}, {50, 51, true}, {50, 0, false}}},
    {"first hidden", {0, 1, 1}, {1, 2, 3}, 100, {{0, 0, false}, {0, 50, true}, {50, 50, true}}},
    {"all hidden", {0, 0, 0}, {1, 2, 3}, 100, {{0, 0, false}, {0, 0, false}, {0, 100, true}}},
    {"all hidden, output first", {0, 0, 0}, {2, 3, 1}, 100, {{100, 0, false}, {100, 0, false}, {0, 100, true}}},
    {"ratios that cancel", {1, -1, 0}, {1, 2, 3}, 100, {{0, 0, false}, {0, 0, false}, {0, 100, true}}},
    {"equal positions", {1, 1, 1}, {2, 2, 2}, 100, {{33, 33, true}, {66, 34, true}, {0, 33, true}}},
    {"two equal", {1, 1, 1}, {2, 2, 3}, 100, {{0, 33, true}, {33, 33, true}, {66, 34, true}}},
    {"rotated", {1, 1, 1}, {3, 1, 2}, 100, {{66, 34, true}, {0, 33, true}, {33, 33, true}}},
    {"negative position", {1, 2, 3}, {1, 2, -1}, 120, {{60, 20, true}, {80, 40, true}, {0, 60, true}}},
    {"negative width", {3, -1, 0}, {1, 2, 3}, 101, {{0, 151, true}, {151, -50, true}, {101, 0, false}}},
    {"ends of the range",
     {2147483647, 2147483647, 2},
     {-2147483648, 0, 2147483647},
     1000,
     {{0, 499, true}, {499, 499, true}, {998, 2, true}}},
};

std::string Layout(const TLayoutCase& layout) {
  std::string text[3];
  for (int i = 0; i < 3; ++i) {
    text[i] = "ratio = " + std::to_string(layout.ratios[i]) +
              "; view_position = " + std::to_string(layout.positions[i]) + ";";
  }
  return Sections(text[0], text[1], text[2]);
}

constexpr runtime::EPane kPaneOfSection[] = {kWishPane, kValuePane, kOutputPane};

TEST(Panes, AreLaidOutByRatioAndPosition) {
  for (const TLayoutCase& layout : kLayouts) {
    SCOPED_TRACE(layout.what);
    CRun run(Pid(Layout(layout)));
    // The same from whatever stood before.
    for (const int width : {7, layout.width}) run.Object("reg").NewRect({5, 6, width, kHeight});
    EXPECT_EQ(run.Object("reg").rect.x, 5);
    for (int i = 0; i < 3; ++i) {
      const gaugekit::CMeter& meter = run.Meter("reg", kPaneOfSection[i]);
      const TPanePlace& place = layout.places[i];
      EXPECT_EQ(meter.rect.x, place.x) << i;
      EXPECT_EQ(meter.rect.y, 0);
      EXPECT_EQ(meter.rect.width, place.width) << i;
      EXPECT_EQ(meter.rect.height, kHeight);
      EXPECT_EQ(meter.disabled == 0, place.shown) << i;
    }
  }
}

const vcont::CStaticText& Description(const CRun& run, const std::u16string& text) {
  for (const vcont::CStaticText& found : runtime::TextsOf(run.Object("reg"))) {
    if (text == found.text) return found;
  }
  throw std::runtime_error("no such description");
}

const std::u16string kDescriptions[] = {u"Žádaná hodnota", u"Regulovaná veličina", u"Akční zásah"};

// Every text measures 40 pixels while one lives.
struct TFixedMeasure {
  TFixedMeasure() {
    runtime::SetTextMeasure([](const vgr::TFontInfoEx*, std::u16string_view) { return 40; });
  }
  ~TFixedMeasure() { runtime::SetTextMeasure(nullptr); }
};

TEST(Panes, CentreAndClipTheirDescriptions) {
  const TFixedMeasure measure;
  // Pane widths are 80, 201 and 60 of 341.
  CRun run(Pid("show_description;" + Sections("ratio = 80;", "ratio = 201;", "ratio = 60;")));
  run.Object("reg").NewRect({0, 0, 341, kHeight});
  const int expected[3][2] = {{35, 10}, {80 + 30 + 50, 40}, {281 + 30 + 5, -10}};
  for (int i = 0; i < 3; ++i) {
    const vcont::CStaticText& text = Description(run, kDescriptions[i]);
    EXPECT_EQ(text.disabled, 0);
    EXPECT_EQ(text.rect.x, expected[i][0]) << i;
    EXPECT_EQ(text.rect.y, 1);
    EXPECT_EQ(text.rect.width, expected[i][1]) << i;
    EXPECT_EQ(text.rect.height, text.height);
    EXPECT_EQ(text.height, runtime::LineHeight(&vgr::SystemN9));
    EXPECT_NE(text.viewOptions & 0x8, 0u);
    ASSERT_NE(text.gContext, nullptr);
    EXPECT_EQ(text.gContext->mode, 1);
    EXPECT_EQ(text.gContext->font, &vgr::SystemN9);
  }
}

// Memory may have failed for one of them: the others have their colours.
TEST(Panes, DescriptionsGetTheirColoursEachForItself) {
  for (const auto& missing : kDescriptions) {
    CRun run(Pid("show_description;"));
    auto& without = const_cast<vcont::CStaticText&>(Description(run, missing));
    vgr::TGContext* const own = std::exchange(without.gContext, nullptr);
    run.Meter("reg").colors.ink = 104;
    run.Object("reg").SettingsChanged();
    for (const auto& description : kDescriptions) {
      const vcont::CStaticText& text = Description(run, description);
      if (&text == &without) continue;
      EXPECT_EQ(text.gContext->ink, 104u);
    }
    without.gContext = own;
  }
}

// 511 characters are measured; the text of a pane that vanishes stays as it was.
TEST(Panes, MeasureTheirDescriptions) {
  CRun run(Pid("show_description;"));
  vcont::CStaticText& text = const_cast<vcont::CStaticText&>(Description(run, kDescriptions[0]));
  std::u16string longText(600, u'x');
  char16_t* const own = std::exchange(text.text, longText.data());
  runtime::SetTextMeasure(
      [](const vgr::TFontInfoEx*, std::u16string_view measured) { return static_cast<std::int32_t>(measured.size()); });
  run.Object("reg").NewRect({0, 0, 3000, kHeight});
  runtime::SetTextMeasure(nullptr);
  text.text = own;
  EXPECT_EQ(text.rect.width, 511);
  const vcont::CStaticText& last = Description(run, kDescriptions[2]);
  const int width = last.rect.width;
  run.Object("reg").NewRect({0, 0, 3, kHeight});
  EXPECT_EQ(run.Meter("reg").disabled, 1);
  EXPECT_EQ(last.disabled, 0);
  EXPECT_EQ(last.rect.width, width);
}

TEST(Panes, HideDescriptionsUnlessAskedFor) {
  CRun plain(Pid(""));
  CRun partly(Pid("show_description;" + Sections("ratio = 0;", "", "ratio = 0;")));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Description(plain, kDescriptions[i]).disabled, 1);
    EXPECT_EQ(Description(plain, kDescriptions[i]).rect.width, 100);
    EXPECT_EQ(Description(partly, kDescriptions[i]).disabled, i == 1 ? 0 : 1);
  }
}

// --- Colours ------------------------------------------------------------------

using TColorWord = std::uint32_t gaugekit::TColors::*;
using TC = gaugekit::TColors;

struct TColorCase {
  TColorWord word;
  const char* keyword;
  std::uint32_t defaultColor;
};

const TColorCase kColors[] = {
    {&TC::borderInk, "border_ink", 0x000000},
    {&TC::borderPaper, "border_paper", 0xBFBFBF},
    {&TC::topShadow, "top_shadow", 0x000000},
    {&TC::bottomShadow, "bottom_shadow", 0xFFFFFF},
    {&TC::ink, "ink", 0xFFFFFF},
    {&TC::paper, "paper", 0x7F7F7F},
    {&TC::value, "value", 0x00FF00},
    {&TC::lowLimit, "low_limit", 0xFFFF00},
    {&TC::highLimit, "high_limit", 0x0000FF},
    {&TC::hGrid, "h_grid", 0x007F7F},
    {&TC::vGrid, "v_grid", 0x007F7F},
};

// Their keywords and defaults are those of the reference, which is compared with them.
TEST(Panes, ColorsAreDescribedAsTheOutputMetersOwn) {
  for (const std::string& className : tests::ClassNames()) {
    CRun run(OneRegulator(className, ""));
    for (std::uint32_t i = 0; i < 12; ++i) {
      for (const std::uint8_t flag : {0, 1}) {
        std::uint32_t* color = nullptr;
        char16_t keyword[64] = u"?";
        std::uint32_t defaultColor = 1;
        const bool told = i < 11 && flag == 0;
        EXPECT_EQ(run.Object("reg").GetColorDescription(i, flag, &color, 63, keyword, 63, keyword, &defaultColor),
                  told);
        EXPECT_EQ(color, told ? &(run.Meter("reg").colors.*kColors[i].word) : nullptr);
        EXPECT_TRUE(told || (keyword[0] == u'?' && defaultColor == 1u));
      }
    }
  }
}

TEST(Panes, ColorsOfTheBlockReachTheOtherPanesSaveTheGrids) {
  std::string block = "colors ";
  for (std::uint32_t i = 0; i < 11; ++i) {
    block += std::string(kColors[i].keyword) + " = #" + std::to_string(10 + i) + "0000; ";
  }
  CRun run(Pid(block + "end_colors;"));
  const auto given = [](std::uint32_t i) { return i < 10 ? 0x10 + i : 0x20u; };
  for (std::uint32_t i = 0; i < 11; ++i) {
    EXPECT_EQ(run.Meter("reg").colors.*kColors[i].word, given(i)) << i;
    for (const auto pane : {kWishPane, kValuePane}) {
      EXPECT_EQ(run.Meter("reg", pane).colors.*kColors[i].word, i < 9 ? given(i) : kColors[i].defaultColor) << i;
    }
  }
  for (const std::u16string& description : kDescriptions) {
    EXPECT_EQ(Description(run, description).gContext->ink, given(4));
    EXPECT_EQ(Description(run, description).gContext->paper, given(5));
  }
}

TEST(Panes, ColorsThatChangeReachTheOtherPanesSaveTheHorizontalGrid) {
  CRun run(Pid(""));
  for (std::uint32_t i = 0; i < 11; ++i) run.Meter("reg").colors.*kColors[i].word = 100 + i;
  run.Object("reg").SettingsChanged();
  for (const auto pane : {kWishPane, kValuePane}) {
    for (std::uint32_t i = 0; i < 11; ++i) {
      const bool own = kColors[i].word == &TC::hGrid;
      EXPECT_EQ(run.Meter("reg", pane).colors.*kColors[i].word, own ? 0x007F7F : 100 + i) << i;
    }
  }
  for (const std::u16string& description : kDescriptions) {
    EXPECT_EQ(Description(run, description).gContext->ink, 104u);
    EXPECT_EQ(Description(run, description).gContext->paper, 105u);
  }
}

// --- Sizes --------------------------------------------------------------------

TEST(Panes, SizesAddUpOverTheShownPanes) {
  const struct {
    const char* wish;
    const char* value;
    const char* output;
    int x;
    int y;
  } cases[] = {
      {"", "", "", 255, 40},
      {"content = plain;", "content = scale;", "content = full;", 350, 90},
      {"content = full;", "content = scale;", "content = plain;", 350, 40},
      {"mode = number;", "mode = number; content = scale;", "mode = number; content = full;", 210, 18},
      {"mode = number; content = full;", "mode = dial;", "mode = number;", 225, 14},
      {"ratio = 0; content = full;", "mode = history; content = full;", "ratio = 0;", 165, 90},
      {"ratio = -2;", "", "ratio = 0; content = full;", 170, 40},
  };
  for (const auto& size : cases) {
    const std::string window = &size == &cases[0] ? "window = 0, 7;" : "window = 7, 0;";
    CRun run(Pid(window + Sections(size.wish, size.value, size.output)));
    vcom::TPoint minimum = {-1, -1};
    vcom::TPoint maximum = {-1, -1};
    EXPECT_EQ(run.Object("reg").GetWinMinMaxSize(&minimum, &maximum), 1);
    EXPECT_EQ(minimum.x, size.x) << size.wish;
    EXPECT_EQ(minimum.y, size.y) << size.wish;
    EXPECT_EQ(maximum.x, 0x7FFFFFFF);
    EXPECT_EQ(maximum.y, 0x7FFFFFFF);
    // It replaces a window of no size.
    EXPECT_EQ(run.Object("reg").winWidth, size.x) << size.wish;
    EXPECT_EQ(run.Object("reg").winHeight, size.y) << size.wish;
  }
}

TEST(Panes, SizesOfThreeHiddenPanesAreZeroUntilTheyAreLaidOut) {
  CRun run(Pid("window = 0, 0;" + Sections("ratio = 0;", "ratio = 0;", "ratio = 0;")));
  EXPECT_EQ(run.Object("reg").winWidth, 0);
  EXPECT_EQ(run.Object("reg").winHeight, 0);
  vcom::TPoint minimum = {};
  vcom::TPoint maximum = {};
  run.Object("reg").GetWinMinMaxSize(&minimum, &maximum);
  EXPECT_EQ(minimum.x, 85);  // the output pane's, which the layout brought back
}

TEST(Panes, SizesThatAreGivenStay) {
  CRun run(Pid("window = 31, 32; position = -1, 2, 33, 44;"));
  EXPECT_EQ(run.Object("reg").winWidth, 31);
  EXPECT_EQ(run.Object("reg").rect.x, -1);
  EXPECT_EQ(run.Object("reg").rect.width, 33);
  CRun without(Pid(Section("value", "content = full;")));
  EXPECT_EQ(without.Object("reg").winWidth, 100);
  EXPECT_EQ(without.Object("reg").winHeight, 80);
  EXPECT_EQ(without.Object("reg").rect.x, 10);
  EXPECT_EQ(without.Object("reg").rect.y, 10);
  EXPECT_EQ(without.Object("reg").rect.width, 255);  // of three bars, before the sections were read
}

TEST(Panes, WithoutAPlaceStandSideBySide) {
  std::string text = "data x : real; end_data;\n";
  for (const char* place : {"", "", "position = 5, 200, 40, 50;", "", "", "position = 700, 0, 300, 40;", ""}) {
    text +=
        "instrument pid_regulator r" + std::to_string(text.size()) + " expression = x; " + place + " end_instrument;\n";
  }
  text += "instrument meter m expression = x; end_instrument;\n";
  CRun run(text);
  std::vector<vcom::CRect> rects;
  for (std::size_t i = 0; i < run->InstrumentCount(); ++i) rects.push_back(run->Instrument(i).View()->rect);
  for (std::size_t i = 0; i < rects.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      const bool isBeside = rects[i].x >= rects[k].x + rects[k].width || rects[k].x >= rects[i].x + rects[i].width;
      const bool isBelow = rects[i].y >= rects[k].y + rects[k].height || rects[k].y >= rects[i].y + rects[i].height;
      EXPECT_TRUE(isBeside || isBelow) << i << " " << k;
    }
  }
  EXPECT_EQ(rects[0].y, rects[1].y);
  EXPECT_EQ(rects[2].x, 5);
  EXPECT_EQ(rects[0].width, 255);
}

// --- Histories ------------------------------------------------------------------

std::vector<double> Buffer(const gaugekit::CMeter& meter) {
  return {meter.historyBuffer, meter.historyBuffer + meter.history + 1};
}

void ExpectPainter(const gaugekit::CMeter& own, const gaugekit::CMeter& other) {
  const gaugekit::CBufferPainter& painter = own.painter;
  EXPECT_EQ(painter.enable, 1);
  EXPECT_EQ(painter.created, 1);
  ASSERT_EQ(painter.curveCount, 2u);
  EXPECT_EQ(painter.curves[0].buffer, own.historyBuffer);
  EXPECT_EQ(painter.curves[0].color, own.colors.value);
  EXPECT_EQ(painter.curves[1].buffer, other.historyBuffer);
  EXPECT_EQ(painter.curves[1].color, other.colors.ink);
  EXPECT_EQ(painter.curves[0].count, own.history);
  EXPECT_EQ(painter.curves[1].count, own.history);
  EXPECT_EQ(painter.rangeFrom, -5.0);
  EXPECT_EQ(painter.rangeTo, 95.0);
  EXPECT_EQ(painter.lowLimit, 11.0);
  EXPECT_EQ(painter.highLimit, 77.0);
}

TEST(Panes, HistoriesOfWishAndValueAreOfOneLengthAndRange) {
  const std::vector<std::string> names = tests::ClassNames();
  for (std::size_t row = 0; row < 4 * names.size(); ++row) {
    const int modes = row % 4;
    SCOPED_TRACE(names[row / 4] + " " + std::to_string(modes));
    const std::string wishMode = (modes & 1) != 0 ? "mode = history;" : "";
    const std::string valueMode = (modes & 2) != 0 ? "mode = history;" : "";
    CRun run(OneRegulator(
        names[row / 4],
        "colors value = #010203; ink = #040506; end_colors;" +
            Sections(wishMode + "range_from = -5; range_to = 95; low_limit = 11; high_limit = 77; history = 3;",
                     valueMode + "history = 9; range_to = 60; content = full; dec_places = 2;", "")));
    const gaugekit::CMeter& wish = run.Meter("reg", kWishPane);
    const gaugekit::CMeter& value = run.Meter("reg", kValuePane);
    const gaugekit::CMeter& output = run.Meter("reg");
    ASSERT_EQ(value.history, modes == 0 ? 9u : 3u);
    EXPECT_EQ(value.rangeTo, modes == 0 ? 60.0 : 95.0);
    EXPECT_EQ(runtime::Utf8(value.highLabel.text), modes == 0 ? "100.00" : "77.00");
    EXPECT_EQ(runtime::Utf8(value.lowLabel.text), modes == 0 ? "0.00" : "11.00");
    EXPECT_EQ(Buffer(value), modes == 0 ? std::vector<double>(10, 0.0) : std::vector<double>(4, -5.0));
    EXPECT_EQ(Buffer(wish), std::vector<double>(4, -5.0));
    EXPECT_EQ(wish.painter.enable, modes & 1);
    EXPECT_EQ(value.painter.enable, (modes & 2) / 2);
    if ((modes & 1) != 0) ExpectPainter(wish, value);
    if ((modes & 2) != 0) ExpectPainter(value, wish);
    for (int k = 1; k <= 2; ++k) {
      run.SetValue("x", 20.0 + k);
      run.SetValue("wish", 40.0 + k);
      run.Steps(1);
    }
    // Either painter draws both.
    if (modes == 0) {
      EXPECT_EQ(Buffer(value), std::vector<double>(10, 0.0));
      EXPECT_EQ(Buffer(wish), std::vector<double>(4, -5.0));
    } else {
      EXPECT_EQ(Buffer(value), (std::vector<double>{-5.0, -5.0, 21.0, 22.0}));
      EXPECT_EQ(Buffer(wish), (std::vector<double>{-5.0, -5.0, 41.0, 42.0}));
    }
    EXPECT_EQ(Buffer(output), std::vector<double>(101, output.rangeFrom));
    // The wish's limits are the value's too, and were given.
    run.SetValue("x", 80.0);
    run.Steps(1);
    EXPECT_EQ(run.Instrument("reg").Pane(runtime::kValuePane).aboveLimit, modes != 0);
  }
}

// An empty definition after one that said all; nothing is left to be read as an
// error.
TEST(Panes, ReadAgainHaveNothingOfTheHostsPartBefore) {
  CRun run(OneRegulator("pid_regulator", "always_activate; window = 7, 8; title = \"T\"; blink_rate = 1;"));
  run.Steps(1);
  runtime::TInstrumentState& reg = runtime::InstrumentOf(run.State(), "reg");
  run.Object("reg").hidden = 1;  // as by blinking
  reg.quantityUnit = reg.outputUnit = "%";
  char16_t error[128] = u"as it was", token[128] = {};
  ASSERT_TRUE(runtime::ReadDefinition(run.State(), reg, reg.begin, {127, error, 127, token}));
  EXPECT_EQ(runtime::Utf8(error), "");
  EXPECT_EQ(run.Object("reg").hidden, 0);
  EXPECT_EQ(run.Object("reg").winWidth, 100);
  EXPECT_EQ(run.Object("reg").winHeight, 80);
  EXPECT_EQ(run.Object("reg").stateWord & hx_vinst::kStateActivateAlways, 0u);
  EXPECT_EQ(reg.title + reg.quantityUnit + reg.outputUnit, "");
  EXPECT_EQ(run.Object("reg").rect.x, 10);  // nobody has placed it again
  EXPECT_EQ(run.Object("reg").rect.y, 10);
  run.Steps(1);
  EXPECT_EQ(run.Object("reg").hidden, 0) << "it blinks no more";
}

// Reals stay as they were read, whole numbers are taken with their ";" alone. Told
// is the keyword of the top level.
TEST(Panes, KeepWhatARefusedDefinitionRead) {
  const struct {
    std::string entries;
    std::uint32_t history;
    double rangeTo;
    std::string token;
  } cases[] = {
      {"value_section history = 7 range_to = 3;", 100, 100, "value_sec"},
      {"inverse; value_section history = 7; range_to = 3 ratio", 7, 3, "value_sec"},
      {"value_section history = 7; end_value_section; inverse 5;", 7, 100, "inverse"},
  };
  for (const auto& [entries, history, rangeTo, token] : cases) {
    const std::string text = Pid("") + "/*" + entries + "*/";
    CRun run(text);
    runtime::TInstrumentState& reg = run.State().instruments[0];
    reg.begin = static_cast<std::uint32_t>(text.size() - 2 - entries.size());
    char16_t error[64] = {};
    char16_t told[64] = {};
    EXPECT_FALSE(
        runtime::ReadDefinition(run.State(), reg, static_cast<std::uint32_t>(text.size() - 2), {63, error, 9, told}));
    EXPECT_EQ(runtime::Utf8(told), token);
    EXPECT_EQ(run.Meter("reg", kValuePane).history, history);
    EXPECT_EQ(run.Meter("reg", kValuePane).rangeTo, rangeTo);
  }
}

}  // namespace
