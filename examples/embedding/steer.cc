// A host of one's own: runs an application whose text it holds itself, reads what
// the regulator does, and writes elements between periods.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace {

constexpr char kTank[] = R"(
application tank period = 1; duration = 1800; end_application;
data
  wish : real = 2 "m"; level : real = 2 "m"; inflow : real = 4 "l/s"; outflow : real = 4 "l/s";
end_data;
process level' = (inflow - outflow) / 500; end_process;
instrument pid_regulator feed
  expression = level; wish_value = wish; output = inflow; start = output;
  output_section range_from = 0; range_to = 10; end_output_section;
  parameters regulator_type = takahashi; param_1 = 20; param_2 = 200; param_3 = 0; end_parameters;
end_instrument;
)";

// What the host writes, and when.
struct TStep {
  double time;  // seconds
  const char* element;
  double value;
};
constexpr TStep kSteps[] = {{60, "outflow", 6}, {900, "wish", 3}, {1200, "depth", 1}};

}  // namespace

int main() {
  std::string error;
  const auto plugin = runtime::CPlugin::Load(PLUGIN, &error);
  if (!plugin) {
    std::fprintf(stderr, "%s\n", runtime::Printable(error).c_str());
    return 1;
  }
  runtime::TReadOptions options;
  options.path = "tank";  // in messages
  options.text = kTank;
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto tank = runtime::CApplication::Read(options, *plugin, &diagnostics);
  for (const auto& diagnostic : diagnostics) std::fputs(runtime::Format(diagnostic).c_str(), stderr);
  runtime::TItem level;
  if (!tank || !tank->FindItem("level", &level, &error)) return 1;

  while (tank->Step()) {
    for (const TStep& step : kSteps) {
      if (tank->Time() != step.time) continue;
      std::printf("%5g s  level %.3f m, inflow %.2f l/s\n", tank->Time(), tank->ElementValue(level.element, level.item),
                  tank->Instrument(0).Pane(runtime::kOutputPane).value);
      runtime::TItem item;
      if (!tank->FindItem(step.element, &item, &error)) {
        std::printf("%s: %s\n", step.element, error.c_str());
      } else if (!tank->WriteElement(item, step.value, &error)) {
        std::printf("%s\n", error.c_str());
      }
    }
  }
  std::printf("%5g s  level %.3f m\n", tank->Time(), tank->ElementValue(level.element, level.item));
  tank->End();
}
