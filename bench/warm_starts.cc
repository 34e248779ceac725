// How many self-tuning regulators settle that begin with a warm start: nine processes, three laws, both types of
// identification, periods of 1, 2 and 4 s; without noise and with.
//   loopbox_warm_starts [--learnt] [--list] [EVERY]
// --learnt: the warm starts come from models that were identified, each from 800 rows of a relay's record with the
// same noise; else from the processes' own. --list: a line for each run that doesn't settle. EVERY: only each so
// many-th of the 27 pairs of process and period.
//
// The wish goes from 30 to 50 at 150 s, a load of 10 comes at 300 s, the run ends at 600 s. It settles where the mean
// |error| of its last 15 % is under 1 (+ 0.8 sigma, which is that of the noise itself).
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/applications.h"
#include "tuning/estimator.h"
#include "tuning/warm_start.h"

namespace {

struct TProcess {
  const char* name;
  const char* lines;  // of a process block: from the input v to y
  tuning::TModel model;
};

// The eight lags of the fourth are three in its model, of the same mean and variance, and a dead time.
constexpr TProcess kProcesses[] = {
    {"1/(10s+1)", "y' = (v - y) / 10;", {.k = 0.1, .eps = 0.1}},
    {"1/(5s+1)^2", "x1' = (v - x1) / 5; y' = (x1 - y) / 5;", {.k = 0.1, .tau = 2.5, .eps = 0.1}},
    {"1/(5s+1)^3",
     "x1' = (v - x1) / 5; x2' = (x1 - x2) / 5; y' = (x2 - y) / 5;",
     {.k = 0.1, .tau = 2.5, .eps = 0.1, .T3 = 5}},
    {"1/(3s+1)^8",
     "x1' = (v - x1) / 3; x2' = (x1 - x2) / 3; x3' = (x2 - x3) / 3; x4' = (x3 - x4) / 3;"
     "x5' = (x4 - x5) / 3; x6' = (x5 - x6) / 3; x7' = (x6 - x7) / 3; y' = (x7 - y) / 3;",
     {.k = 0.102, .L = 9.3, .tau = 2.45, .eps = 0.102, .T3 = 4.9}},
    {"exp(-4s)/(20s+1)", "late = delay(v, 4); y' = (late - y) / 20;", {.k = 0.05, .L = 4, .eps = 0.05}},
    {"exp(-10s)/(5s+1)", "late = delay(v, 10); y' = (late - y) / 5;", {.k = 0.2, .L = 10, .eps = 0.2}},
    {"0.09/(s^2+0.18s+0.09)", "y' = x1; x1' = 0.09 * (v - y) - 0.18 * x1;", {.k = 0.5, .tau = 1 / 0.18, .eps = 0.5}},
    {"(1-2s)/(5s+1)^2",
     "x1' = (v - x1) / 5; x2' = (x1 - x2) / 5; y = x2 - 0.4 * (x1 - x2);",
     {.k = 0.1, .kb = -0.2, .tau = 2.5, .eps = 0.1}},
    {"2/(5s+1)^2", "x1' = (2 * v - x1) / 5; y' = (x1 - y) / 5;", {.k = 0.2, .tau = 2.5, .eps = 0.1}}};
constexpr std::optional<tuning::ELaw> kLaws[] = {tuning::ELaw::kClassical, tuning::ELaw::kTakahashi, std::nullopt};
constexpr double kPeriods[] = {1, 2, 4};
constexpr double kSigmas[] = {0, 0.5, 1};
constexpr double kNoiseAtOutput = 10;  // standard deviation at most, of a range of 100

std::string Number(double value) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.17g", value);
  return text.data();
}

constexpr double kNever = 1e9;

std::string Text(const TProcess& process, double period, double sigma, double loaded, const std::string& behind) {
  return "application warm period = " + Number(period) + "; duration = " + Number(loaded == kNever ? kNever : 600) +
         "; end_application;\n"
         "data wish : real; u : real; y : real; measured : real; x1 : real; x2 : real; x3 : real; x4 : real;\n"
         "  x5 : real; x6 : real; x7 : real; end_data;\n"
         "process wish = if(time < 150, 30, 50); v = u + if(time < " +
         Number(loaded) + ", 0, 10); " + process.lines + " measured = y + noise(" + Number(sigma) +
         "); end_process;\n" + behind;
}

std::string Regulator(const tuning::TWarmStart& start, bool refil) {
  const std::string script = WarmScript(start, "reg");
  return "instrument pid_regulator reg\n"
         "  expression = measured; wish_value = wish; output = u;\n"
         "  wish_value_section range_from = -1000; range_to = 1000; end_wish_value_section;\n"
         "  value_section range_from = -1000; range_to = 1000; end_value_section;\n"
         "  output_section range_from = 0; range_to = 100; end_output_section;\n"
         "  parameters " +
         WarmParameters(start, "warm.par") + (refil ? " refil = true;" : "") + " end_parameters;\nend_instrument;\n" +
         (script.empty() ? "" : "script\n" + script + "\nend_script;\n");
}

// The relay switches round a value of 0, with a hysteresis of twice the noise.
tuning::TRecord Record(const TProcess& process, double period, double sigma) {
  constexpr int kRows = 800;
  constexpr double kAmplitude = 20;
  const auto application = bench::ReadText(Text(process, period, sigma, kNever, ""));
  runtime::TItem input;
  runtime::TItem value;
  std::string error;
  application->FindItem("u", &input, &error);
  application->FindItem("measured", &value, &error);
  tuning::TRecord record{period, {}, {}, std::vector<char>(kRows, 1)};
  double side = 1;
  for (int k = 0; k < kRows; ++k) {
    const double y = application->ElementValue(value.element, 0);
    if (side * y > 2 * sigma) side = -side;
    record.input.push_back(k == 0 ? 0 : side * kAmplitude);  // the first row is at rest
    record.output.push_back(y);
    application->SetElementValue(input, record.input.back());
    application->Step();
  }
  return record;
}

double MeanError(const std::string& text) {
  const auto application = bench::ReadText(text);
  const runtime::CInstrumentHandle regulator = application->Instrument(0);
  const double from = 0.85 * application->Duration();
  double sum = 0;
  int count = 0;
  while (application->Step()) {
    if (application->Time() <= from) continue;
    sum += std::abs(regulator.Pane(runtime::kWishPane).value - regulator.Pane(runtime::kValuePane).value);
    ++count;
  }
  return sum / count;
}

// How many laws of both types settle on a process by these models. Lists those that don't,
// if that is asked for.
int Settling(const TProcess& process, double period, double sigma, const std::vector<tuning::TModel>& models,
             bool list) {
  int settling = 0;
  for (const auto law : kLaws) {
    const auto start =
        tuning::WarmStart(models, {.law = law, .period = period, .greatestNoiseGain = kNoiseAtOutput / sigma});
    if (start) bench::WriteFile(bench::FilePath("warm.par"), ParameterFile(*start));
    for (const bool refil : {false, true}) {
      const double error = start ? MeanError(Text(process, period, sigma, 300, Regulator(*start, refil))) : NAN;
      const bool good = error < 1 + 0.8 * sigma;
      settling += good;
      if (good || !list) continue;
      std::printf("%s, %s, %g s, type %d, noise %g: %g\n", process.name,
                  law ? std::string(LawName(*law)).c_str() : "variable", period, refil ? 2 : 1, sigma, error);
    }
  }
  return settling;
}

}  // namespace

int main(int argc, char** argv) {
  bool learnt = false;
  bool list = false;
  int every = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    learnt = learnt || word == "--learnt";
    list = list || word == "--list";
    if (word.front() != '-') every = std::max(1, std::atoi(argv[i]));
  }
  int runs = 0;
  std::array<int, std::size(kSigmas)> settled = {};
  int number = 0;
  for (const TProcess& process : kProcesses) {
    for (const double period : kPeriods) {
      if (number++ % every != 0) continue;
      for (std::size_t i = 0; i < std::size(kSigmas); ++i) {
        const double sigma = kSigmas[i];
        std::vector<tuning::TModel> models = {process.model};
        if (learnt) models = tuning::Estimate({Record(process, period, sigma)}, {}).set;
        settled[i] += Settling(process, period, sigma, models, list);
      }
      runs += 2 * static_cast<int>(std::size(kLaws));
    }
  }
  bool missed = false;
  for (std::size_t i = 0; i < std::size(kSigmas); ++i) {
    const double wanted = kSigmas[i] > 0 ? 0.95 : 1;
    std::printf("noise %-4g %3d of %3d settle, wanted %.0f %%\n", kSigmas[i], settled[i], runs, 100 * wanted);
    missed = missed || settled[i] < wanted * runs;
  }
  return missed ? 1 : 0;
}
