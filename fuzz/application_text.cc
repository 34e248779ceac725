// Any text as an application: it is refused with an error that names the place,
// or it runs, and then every number stays finite.
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  tests::CRun run(fuzz::CBytes(data, size).Rest(), fuzz::Limited());
  fuzz::CheckDiagnostics(run);
  if (!run.IsRead()) return 0;
  fuzz::RunSome(run, 6, nullptr);
  run->End();
  fuzz::CheckFinite(run);
  return 0;
}
