// The batch of processes that a method of tuning is measured on: Astrom and Hagglund, Revisiting the Ziegler-Nichols
// step response method for PID control, J. Process Control 14 (2004) 635-650.
#ifndef LOOPBOX_BENCH_TUNING_PROCESSES_H
#define LOOPBOX_BENCH_TUNING_PROCESSES_H

#include <string>
#include <vector>

#include "tuning/model.h"

namespace batch {

// gain (1 - zero s) e^{-delay s} / product of (1 + lag s), of s where it integrates, and of
// (pair s)^2 + 1.4 pair s + 1.
struct TProcess {
  std::string name;  // its family and its numbers
  double gain = 1;
  double zero = 0;
  double delay = 0;
  std::vector<double> lags;
  double pair = 0;  // 0: none
  bool integrating = false;

  // By halving the second lag, zero added to the delay.
  double theta = 0;  // s
  double T = 0;      // s; meaningless where it integrates
  double Period() const { return theta / 10; }
  double DesignLoad() const;  // max(1/K, T/(4 K theta)); integrating 1/(4 K theta)
};

// All 134 of P1 ... P9 in their order.
std::vector<TProcess> Processes();

// Exact, of the process' whole order.
tuning::TSampledModel Sample(const TProcess& process, double period);

}  // namespace batch

#endif
