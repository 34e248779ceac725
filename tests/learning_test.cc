// Learning that can't ruin a plant in silence: the guard of what an adaptive
// regulator learns, what a run keeps of it, and the program's watch.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support.h"

namespace {

using tests::CFolder;
using tests::CRun;
using tests::TLearnt;

// By its file the synthesis finds r0 = -0.9 and so on, as long as nothing is learnt;
// the model of the start gives r0 = 2.555, tI = 1.223 s, tD = 0.607 s.
constexpr TLearnt kBad = {0.1, 0.1, 0.1, -1.5, 0.2, 0.5, 1};
constexpr TLearnt kFresh = {0.1, 0.1, 0.1, 0.2, 0.2, 0.5, 1.0};
const std::string kGiven = "param_1 = 2.5; param_2 = 1.25; param_3 = 0.6; ";

// An adaptive regulator with these entries, the learnt beside it as `reg.par`.
CRun Learner(const CFolder& folder, const TLearnt& learnt, const std::string& entries, const std::string& parameters,
             runtime::TReadOptions options = {}) {
  folder.Write("reg.par", tests::ParameterFile(1, learnt));
  return CRun(folder, "test.lbx",
              tests::OneRegulator("pid_regulator", entries + " parameters adaptive = true; file_name = \"reg.par\"; " +
                                                       parameters + " end_parameters;"),
              std::move(options));
}

std::vector<double> Parameters(const CRun& run) { return run.Call("reg", "GetParameters__RRR", {0, 0, 0}); }
bool IsAdaptive(const CRun& run) { return run.Call("reg", "GetAdaptive__l", {0})[0] != 0.0; }

TEST(Learning, GoesOnByTheSetKeptLast) {
  const CFolder folder;
  CRun run = Learner(folder, kFresh, "guard = 0.9, 1.1; start = 40;", kGiven);
  std::vector<double> kept;
  double before = 0;
  for (int k = 0; run.messages.empty(); ++k) {
    ASSERT_LT(k, 100);
    kept = Parameters(run);
    before = run.Value("u");
    run.SetValue("x", k < 5 ? 50.0 : 50.0 + 20.0 * (k % 3));
    run.Steps(1);
  }
  EXPECT_GT(kept[0], 0);
  EXPECT_EQ(Parameters(run), kept);
  EXPECT_EQ(run.Value("u"), before);
  EXPECT_FALSE(IsAdaptive(run));
  tests::ExpectParts(run.messages[0].text,
                     {"what it learnt fails its guard (r0 = ", "learning ends, it goes on by r0 ="});
  run.SetValue("x", 50.5);
  run.Steps(50);
  EXPECT_NE(run.Value("u"), before);
  run->End();
  EXPECT_EQ(run.messages.size(), 1u);
  EXPECT_EQ(tests::ReadFile(folder.Path("reg.par")), tests::ParameterFile(1, kFresh));
}

// Nothing to act by: the output stays, but for what a hand gives.
TEST(Learning, HoldsTheOutputUntilASetIsGood) {
  const CFolder folder;
  CRun run = Learner(folder, kBad, "guard = 0.2, 5; start = 40; manual = hand;", "");
  run.SetValue("x", 49);
  for (int k = 0; k < 30; ++k) {
    run.Steps(1);
    ASSERT_EQ(run.Value("u"), 40);
  }
  EXPECT_LT(Parameters(run)[0], 0);
  run.SetValue("run", 0);
  run.SetValue("hand", 70);
  run.Steps(2);
  EXPECT_EQ(run.Value("u"), 70);
  run.SetValue("run", 1);
  run.Steps(5);
  EXPECT_EQ(run.Value("u"), 70);
  run->End();
  ASSERT_EQ(run.messages.size(), 1u);
  tests::ExpectParts(run.messages[0].text, {"what it learns fails its guard (r0 = -", "the output is held"});
  EXPECT_EQ(tests::ReadFile(folder.Path("reg.par")), tests::ParameterFile(1, kBad));
}

// With something to act by, learning and acting take turns, until a script ends it.
TEST(Learning, TakesTurnsWithTheSetThatIsGiven) {
  const CFolder folder;
  CRun run = Learner(folder, kBad, "guard = 0.2, 5; start = 40;", kGiven);
  run.SetValue("x", 49);
  run.Steps(3);
  for (int k = 0; k < 5; ++k) {
    const double before = run.Value("u");
    run.Steps(1);
    EXPECT_GT(run.Value("u"), before);
    const double held = run.Value("u");
    run.Steps(1);
    EXPECT_EQ(run.Value("u"), held);
    EXPECT_TRUE(IsAdaptive(run));
    EXPECT_EQ(Parameters(run), (std::vector<double>{2.5, 1.25, 0.6}));
  }
  EXPECT_EQ(run.messages.size(), 1u);
  run.Call("reg", "SetAdaptive__l", {0});
  for (int k = 0; k < 5; ++k) {
    const double before = run.Value("u");
    run.Steps(1);
    EXPECT_GT(run.Value("u"), before);
  }
  EXPECT_FALSE(IsAdaptive(run));
}

TEST(Learning, IsKeptWhereThatIsWanted) {
  for (const auto& [entry, keeps] :
       {std::pair{"", true}, {"keep = true;", true}, {"keep = false;", true}, {"", false}}) {
    const CFolder folder;
    runtime::TReadOptions options;
    options.keepsLearnt = keeps;
    CRun run = Learner(folder, kFresh, entry, "", options);
    std::filesystem::remove(folder.Path("reg.par"));
    run->End();
    EXPECT_EQ(std::filesystem::exists(folder.Path("reg.par")), keeps && entry != std::string("keep = false;")) << entry;
  }
}

// A bad set acts, is given up for another, and taken up again; the output stands at
// its end meanwhile. In manual operation nothing is said.
TEST(Learning, IsWatched) {
  const CFolder folder;
  folder.Write("reg.par", tests::ParameterFile(1, kBad));
  std::string text =
      tests::OneRegulator("pid_regulator",
                          "manual = 0; parameters adaptive = true; file_name = \"reg.par\"; end_parameters; "
                          "keep = false;");
  text += R"(script
    function reg.OnOutput(u) if time() > 90 then return 50 end return 0 end
    at(0, function() data.x = 20; data.run = false end)
    at(40, function() data.run = true end)
    every(1, function() if reg:GetAdaptive() then reg:StopIdentification() end end)
    at(100, function() reg:SetAdaptive(false) end)
    at(130, function() reg:SetAdaptive(true) end)
  end_script;)";
  folder.Write("test.lbx", text);
  const std::string run = "run " + folder.Path("test.lbx") + " --duration 200 --language en";
  for (const std::string options : {"", " --quiet"}) {
    const tests::TOutcome outcome = tests::Loopbox(run + options);
    tests::ExpectOutcome(
        outcome, 3,
        {"t=59 s  reg: stuck: the output has been at an end of its pane for 20 periods, and is 0; the wish is "
         "50, the value 20",
         "t=59 s  reg: what it learnt has not been good for 20 periods: r0 = -",
         "t=149 s  reg: what it learnt has not been good for 20 periods: r0 = -"});
    std::size_t count = 0;
    for (std::size_t at = 0; (at = outcome.output.find("reg: ", at)) != std::string::npos; ++at) ++count;
    EXPECT_EQ(count, 3u) << outcome.output;
    if (!options.empty()) continue;
    tests::ExpectParts(outcome.output,
                       {"learnt: r0 = -", "model: gain 0.125, oscillates with a period of ", "; read reg.par\n",
                        "2 times, the last from 149 s to the end: what it", "from 59 s to 91 s: stuck"});
  }
}

}  // namespace
