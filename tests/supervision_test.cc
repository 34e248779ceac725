// The supervisor of self-tuning: when identification runs, and what hostile
// plants, files and callers do to it.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "pid/pid_regulator.h"
#include "tests/support.h"

namespace {

using tests::CFolder;
using tests::CRun;
using tests::OneRegulator;

using TModel = std::vector<double>;

std::string AdaptiveLoop(const std::string& parameters) {
  return OneRegulator("pid_regulator", "parameters adaptive = true; " + parameters + " end_parameters;");
}

// The type of the object is the plug-in's, unknown outside.
__attribute__((no_sanitize("vptr"))) double* Theta(const CRun& run) {
  return static_cast<loopbox::CPidRegulator&>(run.Object("reg")).state->theta;
}

TModel Model(const CRun& run) { return run.Call("reg", "Debug__RRRR", {0, 0, 0, 0}); }
bool IsRunning(const CRun& run) { return run.Call("reg", "IsIdentificationRunning__l", {0})[0] != 0.0; }

// One period with this value; whether the model moved.
bool Moves(CRun& run, double x) {
  const TModel before = Model(run);
  run.SetValue("x", x);
  run.Steps(1);
  return Model(run) != before;
}

TEST(Supervision, StartsAboveFivePercentOfTheWishPane) {
  const struct {
    const char* adaptive;
    const char* from;  // of the pane, to 100
    double error;
    bool starts;
  } cases[] = {{"true", "0", 5.0, false},
               {"true", "0", 5.001, true},
               {"true", "0", -5.0, false},
               {"true", "0", -5.001, true},
               {"true", "-100", 10.0, false},
               {"true", "-100", 10.001, true},
               {"false", "0", 50.0, false},
               // The wish is limited to the end named last.
               {"true", "100; range_to = 0", 45.0, false},
               {"true", "100; range_to = 0", 44.999, true}};
  for (const auto& start : cases) {
    CRun run(OneRegulator("pid_regulator", std::string("parameters adaptive = ") + start.adaptive +
                                               "; end_parameters; wish_value_section range_from = " + start.from +
                                               "; end_wish_value_section;"));
    run.SetValue("x", 50.0 - start.error);
    run.Steps(1);
    EXPECT_FALSE(IsRunning(run));  // it is the error of the period before that counts
    run.SetValue("x", 50.0);
    run.Steps(1);
    EXPECT_EQ(IsRunning(run), start.starts) << start.from << start.error;
    run.Steps(100);
    EXPECT_FALSE(start.error == 5.0 && IsRunning(run));
  }
}

TEST(Supervision, WaitsStepsAndChecks) {
  for (const std::string refil : {"false", "true"}) {
    CRun run(AdaptiveLoop("refil = " + refil + ";"));
    std::mt19937 random(3);
    const auto noise = [&random] { return std::uniform_real_distribution<double>(20.0, 80.0)(random); };
    // The counter's states: 0, two waiting periods, steps at 3 to 21, the check. The
    // last step moved the model: it starts again at once.
    EXPECT_FALSE(Moves(run, 20.0));
    for (int period = 0; period < 2 * 22; ++period) {
      EXPECT_EQ(Moves(run, noise()), period % 22 >= 3) << period;
      EXPECT_TRUE(IsRunning(run)) << period;
    }
  }
}

TEST(Supervision, StopsWhenTheLastStepMovedTheModelByAThousandthAtMost) {
  std::mt19937 random(11);
  int count[2][2] = {};
  int byTheFirst = 0;  // theta 0, which type 1 alone moves, and nothing else
  for (int trial = 0; trial < 120; ++trial) {
    const bool refil = trial % 2 == 0;
    CRun run(AdaptiveLoop(refil ? "refil = true;" : ""));
    double* const theta = Theta(run);
    run.Steps(1);
    run.Call("reg", "RunIdentification__", {});
    // Type 1, which takes in the values themselves, settles when they rest.
    const double size = refil ? std::pow(10.0, std::uniform_real_distribution<double>(-4.0, 0.5)(random)) : 1.0;
    const int rest = refil ? 22 : std::uniform_int_distribution<int>(5, 22)(random);
    TModel before;
    double before0 = 0.0;
    for (int counter = 1; counter <= 21; ++counter) {
      before = Model(run);
      before0 = theta[0];
      if (counter == 21) run.SetValue("wish", 60.0);
      Moves(run, 50.0 + (counter < rest ? std::uniform_real_distribution<double>(-size, size)(random) : 0.0));
    }
    const TModel after = Model(run);
    if (trial % 8 == 1) theta[0] += 0.002;  // as a step may that moves nothing else
    const bool first = std::fabs(theta[0] - before0) > 0.001;
    bool others = false;
    for (std::size_t i = 0; i < 4; ++i) others = others || std::fabs(after[i] - before[i]) > 0.001;
    byTheFirst += first && !others;
    ASSERT_TRUE(IsRunning(run));
    Moves(run, 50.0);
    EXPECT_EQ(IsRunning(run), first || others) << trial;
    EXPECT_EQ(TModel(theta + 1, theta + 5), after);
    ++count[refil][first || others];
    Moves(run, 50.0);
    EXPECT_TRUE(IsRunning(run));  // by the error of 10
  }
  for (const auto& [settled, moving] : count) {
    EXPECT_GT(settled, 5);
    EXPECT_GT(moving, 5);
  }
  EXPECT_GT(byTheFirst, 0);
}

TEST(Supervision, ObeysTheApplication) {
  CRun run(AdaptiveLoop(""));
  run.Steps(3);
  EXPECT_FALSE(IsRunning(run));
  const auto rests = [&run] {
    for (int k = 0; k < 30; ++k) EXPECT_FALSE(Moves(run, k % 2 == 0 ? 51.0 : 53.0));
  };
  const auto begins = [&run] {
    EXPECT_FALSE(Moves(run, 51.0));
    EXPECT_FALSE(Moves(run, 53.0));
    EXPECT_TRUE(Moves(run, 52.0));
  };
  for (int i = 0; i < 2; ++i) {  // from the beginning each time
    run.Call("reg", "RunIdentification__", {});
    begins();
  }
  run.Call("reg", "StopIdentification__", {});
  rests();
  EXPECT_FALSE(IsRunning(run));
  // A period that does not regulate does not count.
  run.Call("reg", "RunIdentification__", {});
  run.SetValue("run", 0.0);
  rests();
  run.SetValue("run", 1.0);
  begins();
  // A definition that is read anew ends it.
  EXPECT_TRUE(IsRunning(run));
  ASSERT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
  EXPECT_FALSE(IsRunning(run));
}

// --- Hostile cases: others are the conformance check's ------------------------------

void ExpectSound(const CRun& run) {
  const double u = run.Value("u");
  ASSERT_TRUE(std::isfinite(u) && u >= 0.0 && u <= 100.0) << u;
}

void ExpectFiniteState(const CRun& run) {
  for (const double element : Model(run)) EXPECT_TRUE(std::isfinite(element)) << element;
}

double Wave(int k) { return 50.0 + 30.0 * ((k * 7919) % 101 - 50) / 50.0; }

// By code.
const char* const kTunedLaws[] = {"classical", "takahashi", "classicalDelay", "takahashiDelay", "variable"};

TEST(Supervision, OutlivesAHundredThousandPeriodsOfConstantInputs) {
  for (const std::string refil : {"false", "true"}) {
    CRun run(AdaptiveLoop("refil = " + refil + ";"));
    run.SetValue("x", 20.0);
    run.Steps(100000);
    ExpectSound(run);
    ExpectFiniteState(run);
    EXPECT_TRUE(std::isfinite(run.Call("reg", "GetForgetCoefficient__R", {0})[0]));
    // It still learns.
    bool moved = false;
    for (int k = 0; k < 60; ++k) moved = Moves(run, Wave(k)) || moved;
    EXPECT_TRUE(moved);
    ExpectSound(run);
  }
}

// A broken sensor, in every state of the counter and before it.
TEST(Supervision, BridgesASensorWithoutAFiniteValue) {
  for (int from = 0; from < 30; ++from) {
    std::string text = AdaptiveLoop("");
    text.replace(text.find("expression = x;"), 15, "expression = if(hand > 0, sqrt(0 - hand), x);");
    CRun run(text);
    for (int k = 0; k < 60; ++k) {
      run.SetValue("hand", k >= from && k < from + 9 ? 1.0 : 0.0);
      run.SetValue("x", Wave(k));
      run.Steps(1);
      ASSERT_NO_FATAL_FAILURE(ExpectSound(run)) << from << " " << k;
    }
    ExpectFiniteState(run);
    EXPECT_EQ(run.messages.size(), 1u);  // the host's own, of the expression
  }
}

// --- Models from a file -------------------------------------------------------------

const tests::TLearnt kModels[] = {
    {0, 0, 0, 0, 0, 0.5, 1},                     // nothing
    {0.1, 0.1, 0.2, 0.2, 0.2, 0.5, 1},           // b1 = b2
    {0.1, 0.1, 0.2, 0.2, 0, 0.5, 1},             // b2 = 0
    {0.1, 0.1, 0.2, 0.2, -0.3, 0.5, 1},          // b2 < 0
    {0.1, 0.1, 0.1, -1, 0.2, 0.5, 1},            // critical gain 0
    {0.1, 0, 0, 0.5, 0.2, 0.5, 1},               // b1 = 0
    {0.1, 1e308, 1e308, -1e308, 1e308, 0.5, 1},  // beyond what can be squared
    {0.1, 1e-308, 5e-324, 5e-324, 1e-308, 0.5, 1},
    {0.1, 0.1, 0.1, 0.2, 0.2, 0, 5e-324},
    {0.1, 0.1, 0.1, 0.2, 0.2, -1, 1e308},
    {0.1, 0.1, 0.1, 0.2, 0.2, 1e308, 1e-308},
};

// A regulator that finds that in its file.
CRun Loaded(const CFolder& folder, std::uint32_t law, const tests::TLearnt& learnt, const std::string& parameters) {
  folder.Write("reg.par", tests::ParameterFile(law, learnt));
  return CRun(folder, "test.lbx", AdaptiveLoop("file_name = \"reg.par\"; " + parameters));
}

TEST(Supervision, EnduresAnyFiniteModel) {
  const CFolder folder;
  for (std::size_t model = 0; model < std::size(kModels); ++model) {
    for (std::uint32_t law = 1; law <= 5; ++law) {
      for (const std::string refil : {"false", "true"}) {
        SCOPED_TRACE(testing::Message() << "model " << model << ", law " << law << ", refil " << refil);
        CRun run =
            Loaded(folder, law, kModels[model], "refil = " + refil + "; regulator_type = " + kTunedLaws[law - 1] + ";");
        ASSERT_EQ(Model(run)[0], kModels[model][1]);
        for (int k = 0; k < 300; ++k) {
          run.SetValue("x", Wave(k));
          run.Steps(1);
          ASSERT_NO_FATAL_FAILURE(ExpectSound(run)) << k;
        }
        ExpectFiniteState(run);
      }
    }
  }
}

TEST(Supervision, CancelsWhatIsNotFiniteOnceAndKeepsTheModel) {
  constexpr const char* kCancelled = "Krok identifikace zrušen";
  const CFolder folder;
  // A synthesis that divides by a critical gain of zero, at rest: told where its
  // result counts, from the first period that identifies.
  for (const std::uint32_t law : {1u, 5u}) {
    CRun run =
        Loaded(folder, law, kModels[4], "refil = true; regulator_type = " + std::string(kTunedLaws[law - 1]) + ";");
    run.Steps(100);
    EXPECT_TRUE(run.messages.empty()) << law;
    if (law == 5) run.Call("reg", "SetRegulatorType__n", {1.0});
    run.Call("reg", "RunIdentification__", {});
    if (law == 5) run.Call("reg", "SetRegulatorType__n", {5.0});
    run.Steps(100);
    ASSERT_EQ(run.messages.size(), law == 5 ? 0u : 1u);
    EXPECT_EQ(Model(run), (TModel{0.1, 0.1, -1, 0.2}));
    if (law == 5) continue;
    EXPECT_EQ(run.messages[0].instrument, "reg");
    EXPECT_EQ(run.messages[0].text, "Výpočet parametrů zrušen");
    EXPECT_EQ(run.messages[0].time, 101.0);
    EXPECT_EQ(run.Call("reg", "GetParameters__RRR", {9, 9, 9}), (std::vector<double>{0, 0, 0}));
  }
  // A b2 that is identified as negative is replaced by the one before, though
  // nothing can be computed from that one either.
  {
    CRun run = Loaded(folder, 1, {0, 0.1, 0.1, 0.2, 0, 0.5, 1}, "refil = true;");
    run.Call("reg", "RunIdentification__", {});
    run.Steps(1);
    run.Call("reg", "SetLastOutputValue__R", {50.0});
    run.Steps(1);
    EXPECT_TRUE(Moves(run, 20.0));
    EXPECT_EQ(Model(run)[3], 0.0);
  }
  // A step whose prediction is infinite: all that it touched is as before.
  for (const std::string refil : {"false", "true"}) {
    const tests::TLearnt huge = {0.1, 1e307, 0.1, 0.2, 10.1, 0.5, 1};
    CRun run = Loaded(folder, 1, huge, "refil = " + refil + ";");
    for (int k = 0; k < 200; ++k) {
      run.SetValue("x", k % 2 == 0 ? 5.0 : 95.0);
      run.Steps(1);
    }
    ASSERT_EQ(run.messages.size(), 1u) << refil;
    EXPECT_EQ(run.messages[0].text, kCancelled);
    run->End();
    EXPECT_EQ(tests::ReadFile(folder.Path("reg.par")), tests::ParameterFile(1, huge));
  }
}

}  // namespace
