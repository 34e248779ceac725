// Frames of a panel, read back as a page reads them.
#include "panel/frames.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include "json/json.h"
#include "live/shared_block.h"
#include "painting/painting.h"
#include "panel/frame_json.h"
#include "panel/model.h"
#include "runtime/trace.h"
#include "tests/support.h"
#include "workbench/references.h"
#include "workbench/run/panel_facts.h"

namespace {

using panel::EInput, panel::EOutput;
using tests::CRun;

// A plant of one input and one output, which is as the test says.
struct TSite final : panel::CSite {
  std::size_t ConnectionCount() const override { return 1; }
  std::string ConnectionName(std::size_t) const override { return "oven_io"; }
  bool IsLost(std::size_t) const override { return input == EInput::kLost; }
  std::size_t InputCount() const override { return 1; }
  std::string InputName(std::size_t) const override { return "x"; }
  runtime::TItem InputItem(std::size_t) const override { return {0, 0}; }
  std::size_t InputConnection(std::size_t) const override { return 0; }
  EInput Input(std::size_t) const override { return input; }
  double Age(std::size_t) const override { return age; }
  std::size_t OutputCount() const override { return 1; }
  std::string OutputName(std::size_t) const override { return "u"; }
  runtime::TItem OutputItem(std::size_t) const override { return {2, 0}; }
  EOutput Output(std::size_t) const override { return output; }
  double Written(std::size_t) const override { return NAN; }
  std::size_t HeldBy(std::size_t) const override { return output == EOutput::kHeld ? 0 : 1; }
  void Stop() override {}
  void Release() override {}
  void Unlatch() override {}

  EInput input = EInput::kGood;
  EOutput output = EOutput::kOwn;
  double age = 0.25;
};

struct TFramed {
  explicit TFramed(runtime::CApplication& application, const panel::CSite* site = nullptr)
      : alarms(definition.alarms, site), frames(application, site, alarms, Facts(application)) {
    std::string error;
    block = live::CSharedBlock::Make(frames.Bytes(), &error);
    frames.Place(*block);
  }
  static std::vector<panel::TFacts> Facts(const runtime::CApplication& application) {
    static workbench::TReferences references;
    std::string error;
    EXPECT_TRUE(workbench::LoadReferences(tests::Plugin(), &references, &error)) << error;
    return workbench::FactsOf(application, references);
  }
  // The newest, as the page has it.
  json::CValue Frame(panel::EPhase phase = panel::EPhase::kRunning) {
    frames.Write(phase, 0.0);
    return json::CValue::Parse(panel::FrameJson(frames.Layout(), frames.Take())).value();
  }

  panel::TDefinition definition;
  panel::CAlarms alarms;
  panel::CFrames frames;
  std::unique_ptr<live::CSharedBlock> block;
};

const std::string kOfAllKinds =
    "data x : real = 40 \"°C\"; w : real = 150; u : real \"%\"; b : boolean; p : boolean; m : boolean; n : integer = 7;"
    " zone : real[70]; by_hand : boolean; stay : boolean = true; demand : real; end_data;\n"
    "process x' = (u - x) / 5; end_process;\n"
    "instrument pid_regulator inner title = \"<b>\\\"Oven\\\"\"; value_section low_limit = 45; end_value_section;"
    " output_section range_from = 10; range_to = 90; end_output_section; wish_value_section ratio = 0;"
    " range_to = 120; end_wish_value_section; wish_value = demand; expression = x; output = u; condition = stay;"
    " track = 33; track_when = by_hand; parameters adaptive = true; end_parameters; end_instrument;\n"
    "instrument pid_regulator outer wish_value = w; expression = x; output = demand; end_instrument;\n"
    "instrument boolean_regulator two wish_value = w; expression = x; output = b; end_instrument;\n"
    "instrument step_regulator steps wish_value = w; expression = zone[1]; output_plus = p; output_minus = m;"
    " receivers = inner; end_instrument;\n"
    "instrument meter gauge range_from = -5; high_limit = 30; expression = x; end_instrument;\n";

double NumberAt(const json::CValue& list, std::size_t index) { return list.Elements()[index].Number().value_or(NAN); }
std::vector<json::CValue> List(const json::CValue& value, const char* name) { return value.Member(name).Elements(); }

TEST(Frames, TellsAPageWhatTheApplicationShows) {
  CRun run(kOfAllKinds);
  TFramed framed(*run);
  EXPECT_EQ(framed.Frame(panel::EPhase::kStarting).Member("phase").String(), "starting");
  run.Steps(7);
  framed.frames.SetJournal(12);
  const json::CValue frame = framed.Frame();
  EXPECT_EQ(frame.Member("time").Number(), run->Time());
  EXPECT_EQ(frame.Member("period").Number(), 7.0);
  EXPECT_EQ(frame.Member("journal").Number(), 12.0);
  EXPECT_EQ(frame.Member("frame").Number(), 2.0);
  const panel::TFrameLayout& layout = framed.frames.Layout();
  ASSERT_EQ(List(frame, "elements").size(), 10 + 64u);
  for (std::size_t i = 0; i < layout.items.size(); ++i) {
    const runtime::TItem item = layout.items[i].item;
    EXPECT_EQ(NumberAt(frame.Member("elements"), i), run->ElementValue(item.element, item.item));
    EXPECT_EQ(layout.IndexOf(layout.items[i].name), layout.itemsAt + i);
  }
  for (std::size_t i = 0; i < run->InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = run->Instrument(i);
    const json::CValue shown = List(frame, "instruments")[i];
    ASSERT_EQ(shown.Elements().size(), 12u);
    EXPECT_EQ(shown.Elements()[11].String(), "");
    for (std::size_t pane = 0; pane < 3; ++pane) {
      const runtime::TPane there = instrument.Pane((pane + 1) % 3);
      const double numbers[] = {there.value, there.rangeFrom, there.rangeTo};
      const std::size_t places[] = {pane, 3 + 2 * pane, 4 + 2 * pane};
      for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_TRUE(instrument.IsMeter() && pane != 1 ? std::isnan(NumberAt(shown, places[k]))
                                                      : NumberAt(shown, places[k]) == numbers[k])
            << instrument.Name() << pane;
      }
    }
  }
  EXPECT_EQ(layout.IndexOf("gauge.wish"), std::nullopt);
  EXPECT_EQ(layout.IndexOf("zone[64]"), std::nullopt);
  EXPECT_EQ(layout.Trends().size(), 74 + 4 * 3 + 1u);
  // Its limits, and the ends of its output.
  const auto flags = [&](std::size_t i) {
    return static_cast<std::uint32_t>(NumberAt(List(frame, "instruments")[i], 10));
  };
  EXPECT_EQ(flags(0) & (panel::kWishLow | panel::kValueLow | panel::kValueHigh), panel::kValueLow);
  EXPECT_EQ(flags(2), panel::kAtHighEnd);
  EXPECT_EQ(flags(4), panel::kValueHigh);
  // The law and its parameters, and what it has learnt, with the time of the last change.
  EXPECT_EQ(List(frame, "settings")[0].Elements().size(), List(frame, "settings")[1].Elements().size());
  EXPECT_EQ(NumberAt(List(frame, "settings")[1], 0), 1.0);
  EXPECT_EQ(List(frame, "learnt")[0].Elements().size(), 7u);
  EXPECT_FALSE(List(frame, "learnt")[0].Elements()[0].IsNull());
  EXPECT_TRUE(List(frame, "learnt")[1].Elements()[0].IsNull());  // it doesn't learn
  EXPECT_TRUE(List(frame, "settings")[4].Elements().empty() && List(frame, "learnt")[4].Elements().empty());
}

TEST(Frames, TellsAPageOnceWhatStays) {
  CRun run(kOfAllKinds);
  const TSite site;
  TFramed framed(*run, &site);
  panel::TOperator hand, wish, save;
  hand.name = "by_hand", hand.item = {8, 0};
  wish.name = "w", wish.item = {1, 0}, wish.range = {20.0, 180.0};
  save.name = "inner.save", save.kind = panel::TOperator::kProcedure, save.procedure = "SetParameters__RRR";
  framed.definition.operators = {hand, wish, save};
  const panel::TModel model = ModelOf(*run, framed.definition, {}, &site, framed.alarms, framed.frames);
  const json::CValue told = json::CValue::Parse(model.Json(true)).value();
  EXPECT_EQ(json::CValue::Parse(model.Json(false))->Member("mayOperate").Text(), "false");
  const std::vector<json::CValue> instruments = List(told, "instruments");
  EXPECT_EQ(instruments[0].Member("title").String(), "<b>\"Oven\"");
  EXPECT_EQ(instruments[0].Member("cascade").Text(), R"({"outputTo":[],"wishFrom":"outer"})");
  EXPECT_EQ(instruments[1].Member("cascade").Text(), R"({"outputTo":["inner"],"wishFrom":null})");
  EXPECT_EQ(instruments[0].Member("limits").Text(), R"({"output":[null,null],"value":[45.0,null],"wish":[null,null]})");
  EXPECT_EQ(instruments[3].Member("receivers").Text(), R"(["inner"])");
  const auto elements = [&](std::size_t i) {
    return instruments[i].Member("wishElement").Text() + instruments[i].Member("valueElement").Text() +
           instruments[i].Member("outputElement").Text();
  };
  EXPECT_EQ(elements(0),
            "73"
            "0"
            "2");
  EXPECT_EQ(elements(3),
            "1"
            "8"
            "4");
  EXPECT_EQ(elements(4),
            "null"
            "0"
            "null");
  const char* const kinds[] = {"continuous", "continuous", "twoState", "step", "meter"};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(instruments[i].Member("kind").String(), kinds[i]);
    std::string missing;
    EXPECT_EQ(instruments[i].Member("pane").IsNull(), !painting::IsBuiltIn(&missing));
  }
  const std::vector<json::CValue> law = List(instruments[0], "settings");
  EXPECT_EQ(law[0].Member("words").Elements()[1].String(), "takahashi");
  EXPECT_EQ(List(told, "operators")[0].Text(),
            R"({"arguments":0,"element":71,"instrument":null,"kind":"element","name":"by_hand","range":null,)"
            R"("rate":null,"switch":true})");
  EXPECT_EQ(List(told, "operators")[1].Member("range").Text(), "[20.0,180.0]");
  EXPECT_EQ(List(told, "operators")[2].Member("arguments").Text(), "3");
  EXPECT_EQ(List(told, "alarms")[0].Member("name").String(), "oven_io.lost");
  EXPECT_EQ(List(told, "alarms")[0].Member("connection").Number(), 0.0);
  EXPECT_EQ(told.Member("inputs").Text(), R"([{"connection":0,"element":0}])");
}

TEST(Frames, SaysWhoHasAnOutputAndWhy) {
  CRun run(kOfAllKinds);
  TSite site;
  TFramed framed(*run, &site);
  const auto shown = [&](const char* why) {
    run.Steps(1);
    const json::CValue frame = framed.Frame();
    const json::CValue inner = List(frame, "instruments")[0];
    EXPECT_EQ(inner.Elements()[11].String(), why);
    EXPECT_EQ(NumberAt(List(frame, "instruments")[1], 9), 0.0);  // another's output
    return static_cast<panel::EMode>(NumberAt(inner, 9));
  };
  EXPECT_EQ(shown(""), panel::EMode::kAuto);
  run.SetValue("stay", 0);
  EXPECT_EQ(shown(""), panel::EMode::kManual);
  run.SetValue("by_hand", 1);
  EXPECT_EQ(shown(""), panel::EMode::kTracks);
  site.output = EOutput::kHeld;
  site.input = EInput::kStale;
  site.age = 4.04;
  EXPECT_EQ(shown("x stale 4 s"), panel::EMode::kHeld);
  site.input = EInput::kLost;
  site.age = INFINITY;
  EXPECT_EQ(shown("x lost"), panel::EMode::kHeld);
  for (const auto& [output, mode] : {std::pair{EOutput::kSafe, panel::EMode::kSafe},
                                     {EOutput::kLatched, panel::EMode::kSafe},
                                     {EOutput::kStopped, panel::EMode::kStopped},
                                     {EOutput::kDry, panel::EMode::kTracks}}) {
    site.output = output;
    EXPECT_EQ(shown(""), mode);
  }
  framed.alarms.Evaluate(9.0);
  const json::CValue frame = framed.Frame(panel::EPhase::kEnded);
  EXPECT_EQ(frame.Member("phase").String(), "ended");
  EXPECT_EQ(frame.Member("inputs").Text(), "[[4,null]]");
  EXPECT_EQ(frame.Member("outputs").Text(), "[[6,null,null]]");
  EXPECT_EQ(List(frame, "alarms")[0].Elements().size(), 8u);
}

TEST(Frames, AreDueWhileSomebodyLooksAndChangeNoTrace) {
  for (const char* name :
       {"furnace", "self_tuning", "scripted", "oven_plant", "hands/manual", "hands/cascade", "refil"}) {
    std::string traces[2];
    for (const bool isWatched : {false, true}) {
      const tests::CFolder folder;
      CRun run(folder, "a.lbx", tests::ReadFile(tests::SourcePath("examples/" + std::string(name) + ".lbx")));
      TFramed framed(*run);
      EXPECT_FALSE(framed.frames.IsDue(100.0));
      framed.frames.Ask(100.0);
      EXPECT_TRUE(framed.frames.IsDue(100.0));
      EXPECT_FALSE(framed.frames.IsDue(100.0 + panel::CFrames::kAskedFor));
      char* text = nullptr;
      std::size_t size = 0;
      std::FILE* const file = open_memstream(&text, &size);
      runtime::CTrace trace(*run, {}, file);
      for (int period = 0; period < 300 && run->Step(); ++period) {
        if (isWatched) framed.frames.Write(panel::EPhase::kRunning, 100.0);
        trace.WriteRow();
      }
      EXPECT_EQ(framed.frames.IsDue(100.01), !isWatched);
      EXPECT_TRUE(trace.Flush());
      std::fclose(file);
      traces[isWatched ? 1 : 0].assign(text, size);
      free(text);
    }
    EXPECT_EQ(traces[0], traces[1]) << name;
    EXPECT_GT(traces[0].size(), 5000u) << name;
  }
}

}  // namespace
