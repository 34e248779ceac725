// Any text as the reference file of a class, and as what it includes. It is read or
// refused with its place; what it says of columns and bands is asked of a regulator
// as a trace and a report ask it.
#include "fuzz/harness.h"
#include "runtime/trace.h"
#include "workbench/references.h"
#include "workbench/run/observation.h"

namespace {

constexpr char kClass[] = "pid_regulator";

std::FILE* Nowhere() {
  static std::FILE* const nowhere = std::fopen("/dev/null", "wb");
  return nowhere;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  const std::string text = fuzz::CBytes(data, size).Rest();
  const tests::CFolder folder;
  folder.Write(std::string(kClass) + ".ref", text);
  folder.Write("part.ref", text);
  std::optional<workbench::CReference> reference;
  std::string error;
  const bool isRead = workbench::LoadReference(folder.Path("any.so"), kClass, &reference, &error);
  fuzz::Check(isRead == error.empty(), "a reference is read, or an error says why not");
  if (!isRead) return 0;

  tests::CRun run(tests::OneRegulator(kClass, "parameters adaptive = true; end_parameters;"));
  reference->Findings(run->Instrument(0).Definition());
  std::vector<runtime::TStateColumn> columns = reference->State();
  for (runtime::TStateColumn& column : columns) column.className = kClass;
  workbench::TReferences references;
  references.emplace(kClass, *std::move(reference));
  workbench::CObservation observation(*run, references, {.band = true, .state = true});
  runtime::CTrace trace(*run, columns, Nowhere());
  for (int k = 0; k < 3; ++k) {
    run.Steps(1);
    observation.Observe();
    trace.WriteRow();
    fuzz::Check(observation.Rows()[0].state.size() == columns.size(), "each column has a value");
  }
  fuzz::Check(trace.Flush(), "a trace is written");
  return 0;
}
