#include "workbench/commands/run_serving.h"

#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>

#include "panel/kept_panel.h"
#include "panel/model.h"
#include "workbench/run/pacing.h"
#include "workbench/run/panel_facts.h"

namespace workbench {
namespace {

constexpr char kLanguageKey[] = "page.language";
constexpr double kAfterEnd = 10.0;          // seconds
constexpr double kClocksApart = 1.0;        // seconds
constexpr double kAfterInterruption = 1.0;  // seconds: pages learn of it

double WallClock() {
  timespec wall{};
  clock_gettime(CLOCK_REALTIME, &wall);
  return static_cast<double>(wall.tv_sec) + 1e-9 * static_cast<double>(wall.tv_nsec);
}

}  // namespace

bool CRunServing::CheckOptions(std::string* error) const {
  if (!options.speed || !options.plant) return true;
  *error = "--speed is for simulated runs: a plant has its own speed";
  return false;
}

bool CRunServing::Prepare(std::string* error) {
  if (!options.panel) return true;
  prepared = WallClock();
  panel::TServerOptions wanted;
  wanted.address = options.panelAddress;
  const std::size_t comma = options.panelTls.find(',');
  if (comma != std::string::npos) {
    wanted.certificate = options.panelTls.substr(0, comma);
    wanted.key = options.panelTls.substr(comma + 1);
  }
  wanted.hosts = options.panelHosts;
  process = panel::CPanelProcess::Make(wanted, error);
  if (process == nullptr) *error = "--panel: " + *error;
  return process != nullptr;
}

bool CRunServing::Start(runtime::CApplication& application, const TReferences& references, CRunPanel& run, bool isDry,
                        std::string* error) {
  if (process == nullptr) return true;
  const panel::CAlarms& alarms = run.Link().Alarms();
  frames.emplace(application, run.Site(), alarms, FactsOf(application, references));
  panel::TModel model = panel::ModelOf(application, run.Definition(), run.Sets(), run.Site(), alarms, *frames);
  if (std::string language = runtime::Translated(kLanguageKey); language != kLanguageKey) model.language = language;
  model.isPlant = run.Site() != nullptr;
  model.isDry = isDry;
  model.startWall = WallClock();
  std::function<std::unique_ptr<panel::CHistory>()> older;
  if (!options.archive.empty()) {
    // A run begins a period before its first row, by clocks that may be set.
    older = [folder = options.archive, start = prepared - application.Period() - kClocksApart] {
      return panel::FollowArchive(folder, start);
    };
  }
  if (!process->Start(*frames, model, run.Journal(), older, error)) return false;
  Show(panel::EPhase::kStarting);
  return true;
}

std::string CRunServing::LinksText() const {
  if (process == nullptr) return {};
  const auto [see, operate] = process->Links();
  return runtime::Translated("see:") + " " + see + "\n" + runtime::Translated("operate:") + " " + operate + "\n";
}

void CRunServing::End() {
  if (process == nullptr) return;
  std::fflush(stdout);  // who reads it waits no longer than the run took
  if (InterruptionAsked()) {
    process->End(kAfterInterruption, [] { return false; });
  } else {
    process->End(kAfterEnd, InterruptionAsked);
  }
}

}  // namespace workbench
