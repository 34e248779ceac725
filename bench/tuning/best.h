// The cheapest parameters of each law for each process of the batch, in best.txt.
#ifndef LOOPBOX_BENCH_TUNING_BEST_H
#define LOOPBOX_BENCH_TUNING_BEST_H

#include <map>
#include <string>
#include <tuple>

#include "bench/tuning/processes.h"
#include "tuning/certificate.h"

namespace batch {

constexpr double kLag = 0.2;
constexpr int kUsual = 10;  // periods in the apparent dead time

class CBest {
 public:
  CBest();  // reads best.txt

  // Sum of both integrals, over the least one. Throws std::out_of_range for a period that has no best one.
  double Ratio(const tuning::TController& controller, const TProcess& process, int periods) const;

 private:
  std::map<std::tuple<std::string, int, int>, tuning::TController> best;  // process, law, periods
};

// That of the process' true model.
double TrueMs(const tuning::TController& controller, const TProcess& process);

// The law and its lag fixed, as best.txt has them; limits far away.
tuning::TTuneOptions Options(const TProcess& process, tuning::ELaw law, int periods);

}  // namespace batch

#endif
