// Any text as an application: it is refused with an error that names the place,
// or it runs, with its connections simulated, and then every number stays finite.
#include "fuzz/harness.h"
#include "plant/plant.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  plant::CConnectionsReader connections;
  runtime::TReadOptions reading = fuzz::Limited();
  reading.blocks = {&connections};
  tests::CRun run(fuzz::CBytes(data, size).Rest(), reading);
  fuzz::CheckDiagnostics(run);
  if (!run.IsRead()) return 0;
  plant::TPlantOptions options;
  options.report = options.note = [](const runtime::TRunTimeMessage&) {};
  for (const plant::TConnection& connection : connections.Connections()) {
    options.losses.push_back({connection.name, 2.0 * run->Period(), 4.0 * run->Period()});
  }
  plant::CPlant plant(connections.Connections(), options);
  std::string error;
  fuzz::Check(run->AddLink(plant, &error), "connections are simulated");
  plant::Listed(connections.Connections(), run->Period());
  plant::Doubts(*run, connections.Connections());
  fuzz::RunSome(run, 6, nullptr);
  run->End();
  fuzz::CheckFinite(run);
  return 0;
}
