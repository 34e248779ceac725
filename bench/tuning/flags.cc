// Whether records that mislead are refused, and good ones not.
#include <cmath>
#include <cstdio>
#include <string>

#include "bench/tuning/batch.h"
#include "bench/tuning/best.h"
#include "bench/tuning/records.h"
#include "tuning/certificate.h"

namespace batch {
namespace {

struct TTally {
  int rows = 0;
  int flagged = 0;
  int bad = 0;  // no proposal, a ratio above 1.3, or a sensitivity above 2.15
  int badFlagged = 0;

  double Flagged() const { return 100.0 * flagged / rows; }
  double BadFlagged() const { return bad > 0 ? 100.0 * badFlagged / bad : 100.0; }
  void Add(const TTally& other) {
    rows += other.rows;
    flagged += other.flagged;
    bad += other.bad;
    badFlagged += other.badFlagged;
  }
};

TTally Judge(const std::vector<TProcess>& processes, int share, const TExperiment& experiment, const CBest& best) {
  TTally tally;
  for (std::size_t i = 0; i < processes.size(); i += static_cast<std::size_t>(share)) {
    const TProcess& process = processes[i];
    const tuning::TProposal p =
        tuning::Tune({Record(process, experiment)}, Options(process, tuning::ELaw::kTakahashiDelay, kUsual));
    const bool bad = !p.controller || !(best.Ratio(*p.controller, process, kUsual) <= 1.3) ||
                     !(TrueMs(*p.controller, process) <= 2.15);
    ++tally.rows;
    tally.flagged += !p.refused.empty();
    tally.bad += bad;
    tally.badFlagged += bad && !p.refused.empty();
    if (bad && p.refused.empty()) {
      std::printf("  %s, %s: not flagged, ratio %.3f, Ms %.3f, regret %.3f\n", process.name.c_str(),
                  std::string(Name(experiment.fault)).c_str(), best.Ratio(*p.controller, process, kUsual),
                  TrueMs(*p.controller, process), p.regret.value_or(0));
    }
  }
  return tally;
}

}  // namespace

bool Flags(int share) {
  const std::vector<TProcess> processes = Processes();
  const CBest best;
  TTally good;
  for (const double noise : {0.01, 0.03, 0.1}) {
    const TTally tally = Judge(processes, share, {.noise = noise}, best);
    std::printf("relay, noise of %g %%: %d of %d flagged\n", 100 * noise, tally.flagged, tally.rows);
    good.Add(tally);
  }
  TTally all;
  for (const EExperiment experiment : {EExperiment::kRelay, EExperiment::kStep}) {
    for (const EFault fault : kFaults) {
      const TTally tally = Judge(processes, share, {.experiment = experiment, .noise = 0.03, .fault = fault}, best);
      std::printf("%s, %s: %d of %d flagged, %d of %d that lead to a bad proposal\n",
                  experiment == EExperiment::kRelay ? "relay" : "step", std::string(Name(fault)).c_str(), tally.flagged,
                  tally.rows, tally.badFlagged, tally.bad);
      std::fflush(stdout);
      all.Add(tally);
    }
  }
  std::printf("bad ones flagged %.1f %%, wanted 98 %%; false alarms %.1f %%, wanted less than 5 %%\n", all.BadFlagged(),
              good.Flagged());
  return all.BadFlagged() >= 98 && good.Flagged() < 5;
}

}  // namespace batch
