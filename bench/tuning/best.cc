#include "bench/tuning/best.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

#include "bench/tuning/batch.h"

namespace batch {
namespace {

using tuning::ELaw;
using tuning::TController;

constexpr double kBound = 2.0;  // on the sensitivity, of the best ones

std::string ProcessName(const TProcess& process) {
  std::string name = process.name;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

double LawCost(const TController& c, const TProcess& process) {
  return tuning::Cost(c, Sample(process, c.period), process.DesignLoad()).Sum();
}

// From rules of thumb for the apparent model, and from around them.
TController FindBest(const TProcess& process, ELaw law, double period) {
  const double slow = process.integrating ? 1.0 : process.T;
  const tuning::TModel apparent = {.k = process.gain / slow,
                                   .kb = 0,
                                   .L = process.theta,
                                   .tau = 0,
                                   .eps = process.integrating ? 0.0 : 1.0 / process.T,
                                   .T3 = 0};
  tuning::TDesignOptions options;
  options.law = law;
  options.lag = kLag;
  options.period = period;
  std::vector<TController> starts;
  for (const TController& start : tuning::Starts(apparent, options)) {
    for (const double gain : {0.6, 1.5}) {
      for (const double integral : {0.5, 1.0, 2.0}) {
        for (const double derivative : {0.5, 2.0}) {
          starts.push_back(start);
          starts.back().r0 *= gain;
          starts.back().tI *= integral;
          starts.back().tD *= derivative;
        }
      }
    }
  }
  return tuning::Best(Sample(process, period), process.DesignLoad(), starts, kBound).value();
}

}  // namespace

CBest::CBest() {
  std::ifstream in(LOOPBOX_BEST);
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    std::string name;
    int law = 0;
    int periods = 0;
    TController c;
    if (!(words >> name >> law >> periods >> c.r0 >> c.tI >> c.tD)) continue;  // a comment
    c.law = static_cast<ELaw>(law);
    c.lag = kLag;
    best[{name, law, periods}] = c;
  }
}

double CBest::Ratio(const TController& controller, const TProcess& process, int periods) const {
  TController least = best.at({ProcessName(process), static_cast<int>(controller.law), periods});
  least.period = process.theta / periods;
  return LawCost(controller, process) / LawCost(least, process);
}

double TrueMs(const TController& controller, const TProcess& process) {
  return tuning::Margins(controller, Sample(process, controller.period)).ms;
}

tuning::TTuneOptions Options(const TProcess& process, ELaw law, int periods) {
  tuning::TTuneOptions options;
  options.law = law;
  options.lag = kLag;
  options.period = process.theta / periods;
  options.fixedPeriod = true;
  options.outputLow = options.valueLow = -1e9;
  options.outputHigh = options.valueHigh = 1e9;
  return options;
}

void WriteBest() {
  std::puts(
      "# The least cost within Ms <= 2: process, law, periods in its apparent dead time, r0, tI (s), tD (s), cost.");
  for (const TProcess& process : Processes()) {
    for (const int periods : {kUsual, 2, 30}) {
      for (const ELaw law : {ELaw::kTakahashiDelay, ELaw::kClassical, ELaw::kClassicalDelay, ELaw::kTakahashi}) {
        if (periods != kUsual && law != ELaw::kTakahashiDelay) continue;
        const TController c = FindBest(process, law, process.theta / periods);
        std::printf("%s %d %d %.6g %.6g %.6g %.6g\n", ProcessName(process).c_str(), static_cast<int>(law), periods,
                    c.r0, c.tI, c.tD, LawCost(c, process));
      }
    }
  }
}

}  // namespace batch
