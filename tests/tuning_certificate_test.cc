// Which proposals are trusted, which are refused, and what is said of it.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "runtime/numbers/random.h"
#include "tests/support.h"
#include "tuning/certificate.h"

namespace tuning {
namespace {

constexpr double kRowPeriod = 0.2;
const TModel kWavedProcess = {.k = 0.2, .kb = 0, .L = 1, .tau = 1.2, .eps = 0.2, .T3 = 0};

// A square wave of the output about 50, of cycles as a relay would make them; the value is at rest at 40 before.
TRecord SquareWave(double noise, std::size_t rows = 400, double amplitude = 5) {
  runtime::CRandom random(7);
  TRecord record;
  record.period = kRowPeriod;
  record.used.assign(rows, 1);
  for (std::size_t i = 0; i < rows; ++i) {
    record.input.push_back(i < 10 ? 50 : (i / 25) % 2 == 0 ? 50 + amplitude : 50 - amplitude);
  }
  std::vector<double> moves = record.input;
  for (double& u : moves) u -= 50;
  for (const double y : Simulate(Sample(kWavedProcess, kRowPeriod), moves))
    record.output.push_back(40 + y + noise * random.Normal());
  return record;
}

TTuneOptions UsualOptions() {
  TTuneOptions options;
  options.period = kRowPeriod;
  options.fixedPeriod = true;
  return options;
}

std::string Lines(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += text + "\n";
  return all;
}

TEST(TuningCertificate, HoldsOnTheProcessThatTheRecordIsOf) {
  const TProposal p = Tune({SquareWave(0.2)}, UsualOptions());
  EXPECT_EQ(Lines(p.refused), "");
  ASSERT_TRUE(p.controller);
  EXPECT_LE(p.nominal.ms, 1.85);
  EXPECT_LE(p.nominal.ms, p.worst.ms);
  EXPECT_LE(p.worst.ms, 2.0);
  EXPECT_LE(*p.worst.gain, *p.nominal.gain);
  EXPECT_LE(*p.worst.phase, *p.nominal.phase);
  EXPECT_LE(*p.regret, 1.2);
  EXPECT_FALSE(p.ask);
  const TSampledModel process = Sample(kWavedProcess, kRowPeriod);
  EXPECT_LE(Margins(*p.controller, process).ms, 2.05);
  const double load = DesignLoad(kWavedProcess, kRowPeriod);
  const TController best = Best(process, load, {*p.controller}, 2.0).value();
  EXPECT_LE(Cost(*p.controller, process, load).Sum(), 1.2 * Cost(best, process, load).Sum());
  EXPECT_NEAR(p.noiseAtOutput, 0.2 * NoiseGain(*p.controller, process), 0.15 * p.noiseAtOutput);
}

TEST(TuningCertificate, RepeatsAndMirrorsWhereTheOutputIsMirrored) {
  const TProposal once = Tune({SquareWave(0.2)}, UsualOptions());
  TRecord mirrored = SquareWave(0.2);
  for (double& u : mirrored.input) u = 100 - u;
  TTuneOptions inverse = UsualOptions();
  inverse.inverse = true;
  for (const TProposal& again : {Tune({SquareWave(0.2)}, UsualOptions()), Tune({mirrored}, inverse)}) {
    EXPECT_EQ(once.controller->r0, again.controller->r0);
    EXPECT_EQ(once.controller->tI, again.controller->tI);
    EXPECT_EQ(once.controller->tD, again.controller->tD);
    EXPECT_EQ(once.regret, again.regret);
  }
}

TEST(TuningCertificate, ChoosesLawAndLagByTheNoise) {
  const struct {
    double noise;
    double range;  // of the output
    ELaw law;
    bool derivative;
    double leastLag;
  } cases[] = {{0, 100, ELaw::kTakahashi, true, 0},
               {0.05, 100, ELaw::kTakahashiDelay, true, 0},
               {0.05, 12, ELaw::kTakahashiDelay, true, 0.1},
               {0.2, 10, ELaw::kTakahashiDelay, false, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.noise) + " of " + std::to_string(c.range));
    TTuneOptions options = UsualOptions();
    options.outputLow = 50 - c.range / 2;
    options.outputHigh = 50 + c.range / 2;
    const TProposal p = Tune({SquareWave(c.noise, 400, 4)}, options);
    ASSERT_TRUE(p.controller) << Lines(p.refused);
    EXPECT_EQ(p.controller->law, c.law);
    EXPECT_EQ(p.controller->tD > 0, c.derivative);
    EXPECT_GE(p.controller->lag, c.leastLag);
    if (c.derivative) {
      EXPECT_LE(p.noiseAtOutput, 0.02 * c.range);
    }
  }
}

TEST(TuningCertificate, TellsOfAPeriodThatIsTooLong) {
  TTuneOptions options = UsualOptions();
  options.period = 1.2;
  TProposal p = Tune({SquareWave(0.05)}, options);
  EXPECT_NE(Lines(p.advice).find("The period of 1.2 s is more than half of the apparent dead time"), std::string::npos)
      << Lines(p.advice);
  options.fixedPeriod = false;
  p = Tune({SquareWave(0.05)}, options);
  EXPECT_NEAR(p.controller->period, 0.2, 0.06);
  EXPECT_EQ(Lines(p.advice), "");
}

TEST(TuningCertificate, KnowsWhatAProposalMayLose) {
  TDesignOptions options;
  options.period = kRowPeriod;
  options.nominalMs = 2.0;
  const TController best = Design({kWavedProcess}, options).value();
  EXPECT_NEAR(*Regret(best, {kWavedProcess}, options), 1.0, 1e-3);
  TController slow = best;
  slow.tI *= 3;
  const double alone = *Regret(slow, {kWavedProcess}, options);
  EXPECT_GT(alone, 1.5);
  TModel quicker = kWavedProcess;
  quicker.L = 0.5;
  EXPECT_GT(*Regret(slow, {kWavedProcess, quicker}, options), alone);
  TModel later = kWavedProcess;
  later.L = 4;
  EXPECT_EQ(Regret(best, {kWavedProcess, later}, options), std::nullopt);
}

TEST(TuningCertificate, RefusesWithReasonAndRemedy) {
  const struct {
    const char* what;
    std::function<void(TRecord*, TTuneOptions*)> spoil;
    bool proposes;
    const char* said;
  } cases[] = {
      {"an output that stays", [](TRecord* r, TTuneOptions*) { r->input.assign(r->input.size(), 50); }, false,
       "The output keeps one level throughout: nothing can be learnt from that. Record an experiment."},
      {"an output at its limit", [](TRecord*, TTuneOptions* o) { o->outputHigh = 55, o->outputLow = 45; }, true,
       "The output is at a limit of 45 to 55 in 98 % of the rows, more than half: record an experiment of a smaller "
       "amplitude, or from another output."},
      {"a value at its pane's limit", [](TRecord* r, TTuneOptions*) { r->output[70] = 100; }, true,
       "The value is at a limit of its pane of 0 to 100 in 1 rows, where nobody knows what it was: widen the pane, or "
       "record an experiment of a smaller amplitude."},
      {"a value that doesn't answer",
       [](TRecord* r, TTuneOptions*) {
         runtime::CRandom random(3);
         for (double& y : r->output) y = 40 + random.Normal();
       },
       false,
       "times its standard deviation, at least 5 are needed: record an experiment of a greater amplitude, or a "
       "longer one."},
      {"a value that falls",
       [](TRecord* r, TTuneOptions*) {
         for (double& y : r->output) y = 80 - y;
       },
       false,
       "contradicts the regulator's direction: the value falls as the output rises. Add the flag inverse, or see "
       "whether the value is another one."},
      {"a value that rises, inverse", [](TRecord*, TTuneOptions* o) { o->inverse = true; }, false,
       "contradicts the flag inverse: the value rises with the output. Take the flag out, or see whether the value is "
       "another one."},
      {"a disturbance that comes and goes",
       [](TRecord* r, TTuneOptions*) {
         for (std::size_t i = 0; i < r->output.size(); ++i) r->output[i] += std::sin(0.4 * static_cast<double>(i));
       },
       true, "What the model leaves is not noise alone (correlated, by a factor of"},
      {"a load that steps within",
       [](TRecord* r, TTuneOptions*) {
         std::vector<double> load(r->output.size());
         std::fill(load.begin() + 200, load.end(), 0.5);
         const std::vector<double> moved = Simulate(Sample(kWavedProcess, kRowPeriod), load);
         for (std::size_t i = 0; i < moved.size(); ++i) r->output[i] += moved[i];
       },
       true, "A step of the load within the record explains"},
      {"a short record with much noise", [](TRecord* r, TTuneOptions*) { *r = SquareWave(1.0, 60); }, true,
       "A relay experiment of"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TRecord record = SquareWave(0.2);
    TTuneOptions options = UsualOptions();
    c.spoil(&record, &options);
    const TProposal p = Tune({record}, options);
    EXPECT_EQ(p.controller.has_value(), c.proposes);
    EXPECT_NE(Lines(p.refused).find(c.said), std::string::npos) << Lines(p.refused) << Lines(p.advice);
  }
}

}  // namespace
}  // namespace tuning
