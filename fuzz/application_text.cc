// Any text as an application: it is refused with an error that names the place,
// or it runs, with its connections simulated and its alarms, and then every number
// stays finite.
#include "fuzz/harness.h"
#include "panel/panel.h"
#include "panel/panel_reader.h"
#include "plant/plant.h"
#include "study/study_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  plant::CConnectionsReader connections;
  const panel::TParameterSets sets = {
      {"pid_regulator", {{"r0", "GetParameters__RRR", "SetParameters__RRR", 0, 3, {}, {}, false}}}};
  panel::CPanelReader operators(sets);
  runtime::TReadOptions reading = fuzz::Limited();
  study::CStudyReader studies([](const auto&) { return std::vector<std::string>{"iae", "overshoot"}; });
  reading.blocks = {&connections, &operators, &studies};
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
  panel::CPanel panel(operators.Definition(), sets, {});
  fuzz::Check(run->AddLink(panel, &error), "a panel writes nothing by itself");
  fuzz::RunSome(run, 6, nullptr);
  run->End();
  fuzz::CheckFinite(run);
  return 0;
}
