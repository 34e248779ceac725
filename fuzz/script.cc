// Any text as the script of an application with all three classes: whatever it
// calls and returns, outputs stay finite, both step outputs never stand together,
// and memory is bounded and balanced.
#include "fuzz/harness.h"

namespace {

constexpr char kBefore[] =
    "application test period = 1; end_application;\n"
    "data x : real = 50; wish : real = 40; u : real; on : boolean; plus : boolean; minus : boolean;\n"
    "count : integer; zone : real[3]; flags : boolean[2]; end_data;\n"
    "process x' = (u - x) / 10; end_process;\n"
    "instrument pid_regulator heater expression = x; wish_value = wish; output = u;\n"
    "parameters adaptive = true; end_parameters; end_instrument;\n"
    "instrument boolean_regulator switch expression = x; wish_value = wish; output = on; receivers = shown;\n"
    "end_instrument;\n"
    "instrument step_regulator valve expression = x; wish_value = wish; output_plus = plus; output_minus = minus;\n"
    "inactive_hit = 0; end_instrument;\n"
    "instrument meter shown expression = x; end_instrument;\n"
    "script\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  const std::string script = fuzz::CBytes(data, size).Rest();
  if (script.find("end_script") != std::string::npos) return -1;  // the text of an application is another fuzzer's
  // Every other one loses what it doesn't hold wherever it asks for memory.
  runtime::TReadOptions options = fuzz::Limited();
  options.scriptTime = 0.5;
  options.scriptCollects = size % 2 != 0;
  tests::CRun run(kBefore + script + "\nend_script;\n", options);
  fuzz::CheckDiagnostics(run);
  if (!run.IsRead()) return 0;
  for (int k = 0; k < 6; ++k) {
    const fuzz::TOutput before = fuzz::OutputOf(run, "heater");
    fuzz::RunSome(run, 1, nullptr);
    fuzz::TOutput output = fuzz::OutputOf(run, "heater");
    // The script may have set another range after the output was written.
    output.isFree = output.isFree || output.low != before.low || output.high != before.high;
    fuzz::CheckOutput(output);
    fuzz::Check(!(run.Value("plus") != 0.0 && run.Value("minus") != 0.0), "both step outputs are never on together");
  }
  run->End();
  return 0;
}
