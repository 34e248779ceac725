#include "workbench/run/linearisation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "tuning/pulse_response.h"

namespace workbench {
namespace {

constexpr std::size_t kShortestAnswer = 256;      // periods
constexpr std::size_t kLongestAnswer = 1U << 17;  // periods
constexpr double kPulse = 0.005;                  // of the output's range, to each side
constexpr double kLongEnough = 1e9;               // s

// A run whose instrument's output is given from outside from a time on.
class CSteeredRun {
 public:
  CSteeredRun(std::unique_ptr<runtime::CApplication> read, std::size_t index, double at)
      : application(std::move(read)), instrument(application->Instrument(index)) {
    const auto periods = static_cast<std::uint64_t>(std::llround(at / application->Period()));
    while (application->PeriodsDone() < periods && application->Step()) continue;
  }

  double Period() const { return application->Period(); }
  runtime::TPane Output() const { return instrument.Pane(runtime::kOutputPane); }
  // The value that the instrument sees in the next period, in which it writes this output.
  double ValueBefore(double output) {
    instrument.TrackFromOutside(output);
    application->Step();
    return instrument.Pane(runtime::kValuePane).measured;
  }

 private:
  std::unique_ptr<runtime::CApplication> application;
  runtime::CInstrumentHandle instrument;
};

}  // namespace

std::optional<tuning::TSampledModel> Linearised(runtime::TReadOptions options, runtime::CPlugin& plugin,
                                                std::size_t instrument, double at, std::string* error) {
  options.steersOutputs = true;
  options.keepsLearnt = false;
  options.duration = at + kLongEnough;
  std::vector<CSteeredRun> runs;
  for (int i = 0; i < 2; ++i) {
    std::vector<runtime::TDiagnostic> found;
    std::unique_ptr<runtime::CApplication> application = runtime::CApplication::Read(options, plugin, &found);
    if (application == nullptr) {
      *error = runtime::Format(found.front());
      return std::nullopt;
    }
    runs.emplace_back(std::move(application), instrument, at);
  }

  const runtime::TPane output = runs[0].Output();
  const auto [lowest, highest] = std::minmax(output.rangeFrom, output.rangeTo);
  const double pulse = kPulse * (highest - lowest);
  const double above = std::min(output.value + pulse, highest);
  const double below = std::max(output.value - pulse, lowest);
  runs[0].ValueBefore(above);
  runs[1].ValueBefore(below);
  std::vector<double> answer;
  for (std::size_t length = kShortestAnswer; length <= kLongestAnswer; length *= 2) {
    while (answer.size() < length) {
      const double value = runs[0].ValueBefore(output.value);
      answer.push_back((value - runs[1].ValueBefore(output.value)) / (above - below));
    }
    std::optional<tuning::TSampledModel> model = tuning::FromPulse(answer, runs[0].Period());
    if (model && !model->numerator.empty()) return model;
  }
  const bool answers = std::any_of(answer.begin(), answer.end(), [](double change) { return change != 0; });
  *error = answers ? "its value's answer to the output doesn't come to rest" : "its value doesn't answer its output";
  return std::nullopt;
}

}  // namespace workbench
