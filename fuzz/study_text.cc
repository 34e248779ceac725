// Any text behind an application's own blocks, where its study stands. It is refused with
// an error that says why, or has cases whose values are of their lists, or finite and in
// their ranges; those of the first are taken, or refused with an error. Its condition
// holds or not, whatever the figures are.
#include <algorithm>
#include <cmath>
#include <limits>

#include "fuzz/harness.h"
#include "study/sampling.h"
#include "study/study.h"

namespace {

constexpr char kApplication[] =
    "constants gain = 2; end_constants;\n"
    "application lag period = 1; duration = 3; end_application;\n"
    "data a : real; n : integer; on : boolean; x : real; z : real[2]; end_data;\n"
    "process x' = (gain * a - x) / 5; end_process;\n"
    "instrument pid_regulator reg expression = x; wish_value = a; output = z[0];\n"
    "  parameters regulator_type = takahashi; param_1 = 1; param_2 = 5; end_parameters; end_instrument;\n";

bool HasError(const std::vector<runtime::TDiagnostic>& diagnostics) {
  return std::any_of(diagnostics.begin(), diagnostics.end(),
                     [](const auto& one) { return one.kind == runtime::TDiagnostic::kError; });
}

void CheckValue(const study::TInput& input, const std::string& value) {
  if (input.distribution == study::EDistribution::kList) {
    fuzz::Check(std::find(input.list.begin(), input.list.end(), value) != input.list.end(), "a value is of its list");
    return;
  }
  const double number = std::stod(value);
  fuzz::Check(std::isfinite(number), "a value is finite");
  if (input.distribution == study::EDistribution::kNormal) return;
  fuzz::Check(number >= input.first && number <= input.second, "a value is in its range");
}

void CheckCases(const study::TPlan& plan, runtime::TReadOptions reading) {
  const study::CSampling sampling(plan.definition);
  fuzz::Check(plan.runs > 0 && sampling.Count() == plan.runs, "there are cases");
  for (const std::uint64_t number : {std::uint64_t{0}, plan.runs / 2, plan.runs - 1}) {
    fuzz::Check(sampling.SeedOf(number) < std::uint64_t{1} << 53, "a seed is a whole number of a double");
    const std::vector<std::string> values = sampling.ValuesOf(number);
    fuzz::Check(values.size() == plan.definition.inputs.size(), "each input has a value");
    for (std::size_t i = 0; i < values.size(); ++i) {
      const study::TInput& input = plan.definition.inputs[i];
      CheckValue(input, values[i]);
      if (number == 0) reading.initialValues.emplace_back(input.name, values[i]);
    }
  }
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto first = runtime::CApplication::Read(reading, tests::Plugin(), &diagnostics);
  fuzz::Check((first == nullptr) == HasError(diagnostics), "a case is read, or an error says why not");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  const study::TSite site = {tests::Plugin(), "",
                             [](const auto&) {
                               return std::vector<std::string>{"iae", "ise"};
                             },
                             nullptr};
  runtime::TReadOptions reading = fuzz::Limited();
  reading.path = "lag.lbx";
  reading.text = kApplication + fuzz::CBytes(data, size).Rest();
  std::vector<runtime::TDiagnostic> diagnostics;
  std::string error;
  const auto plan = study::ReadStudy(site, reading, "", &diagnostics, &error);
  fuzz::Check(plan.has_value() != (HasError(diagnostics) || !error.empty()),
              "a study is read, or an error says why not");
  if (!plan) return 0;
  CheckCases(*plan, reading);
  const std::size_t figures = plan->definition.figures.size();
  fuzz::Check(figures > 0, "something is kept");
  if (!plan->definition.required.IsGiven()) return 0;
  for (const double value : {0.0, 1e308, std::numeric_limits<double>::quiet_NaN()}) {
    plan->definition.required.Holds(std::vector<double>(figures, value));
  }
  return 0;
}
