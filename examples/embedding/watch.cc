// A host of one's own: runs an application and prints what the panes of each
// regulator show, ten times on the way.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "runtime/runtime.h"

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fputs("usage: watch FILE.lbx\n", stderr);
    return 2;
  }
  std::string error;
  const auto plugin = runtime::CPlugin::Load(PLUGIN, &error);
  if (!plugin) {
    std::fprintf(stderr, "%s\n", runtime::Printable(error).c_str());
    return 1;
  }
  runtime::TReadOptions options;
  options.path = arguments[1];
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto application = runtime::CApplication::Read(options, *plugin, &diagnostics);
  for (const auto& diagnostic : diagnostics) std::fputs(runtime::Format(diagnostic).c_str(), stderr);
  if (!application) return 1;
  application->SetMessageSink([](const runtime::TRunTimeMessage& message) {
    const std::string text = runtime::Printable(message.instrument + ": " + message.text);
    std::fprintf(stderr, "%g s  %s\n", message.time, text.c_str());
  });

  while (application->Step()) {
    // A pane holds what its meter shows; regulators have three, others none.
    if (application->PeriodsDone() * 10 % application->PeriodCount() >= 10) continue;
    for (std::size_t i = 0; i < application->InstrumentCount(); ++i) {
      const runtime::CInstrumentHandle regulator = application->Instrument(i);
      if (regulator.PaneCount() == 0) continue;
      std::printf("%8g s  %-12s wish %9.4f  value %9.4f  output %9.4f\n", application->Time(), regulator.Name().c_str(),
                  regulator.Pane(runtime::kWishPane).value, regulator.Pane(runtime::kValuePane).value,
                  regulator.Pane(runtime::kOutputPane).value);
    }
  }
  application->End();
}
