// The equations of a process round the state that they have: how fast they are, and
// in which direction they answer. The process is left as it was found.
#ifndef LOOPBOX_RUNTIME_SIMULATION_PROCESS_PROBE_H
#define LOOPBOX_RUNTIME_SIMULATION_PROCESS_PROBE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/simulation/process.h"

namespace runtime {

class CProcessProbe {
 public:
  // Notes what elements and expressions hold, and puts it back at its end.
  explicit CProcessProbe(CProcess& probed);
  CProcessProbe(const CProcessProbe&) = delete;
  CProcessProbe& operator=(const CProcessProbe&) = delete;
  ~CProcessProbe();

  struct TRate {
    double rate;         // 1/s, the largest magnitude of an eigenvalue
    std::uint32_t mark;  // of the derivative that moves most in its direction
  };
  // Of the derivatives, delayed values and time held. None where there is no such
  // rate: the equations have a jump or a root's end here.
  std::optional<TRate> FastestRate();

  struct THorizon {
    double seconds;      // that are looked ahead, at most
    double step;         // of integration, seconds
    std::uint64_t work;  // evaluations of lines, at most
  };
  // Whether so much is enough to say anything.
  static bool Suffices(const CProcess& process, std::uint64_t work) {
    return !process.IsEmpty() && work / WorkOfStep(process) >= kFewestSteps;
  }
  // How `value` answers when `*input` is changed by `change`: 1 where it goes the same
  // way all the time, -1 the other way, 0 when that can't be told. Delays let pass.
  int Direction(double* input, const double* value, double change, const THorizon& horizon);

 private:
  using TNumbers = std::vector<double>;

  static constexpr std::uint64_t kFewestSteps = 20;
  // Four times each line, for both of the states that are compared.
  static std::uint64_t WorkOfStep(const CProcess& process) {
    return 8 * (process.algebraic.size() + process.derivatives.size());
  }

  // What the derivatives are in a state.
  void Slopes(const TNumbers& state, bool delaysPass, TNumbers* slopes);
  void EvaluateLines(bool delaysPass);
  // One step of the classical Runge-Kutta method.
  void Step(double h, TNumbers* state);
  TNumbers State() const;
  template <typename TUse>
  void ForEachFormula(TUse use);

  CProcess& process;
  TNumbers kept;  // of targets, then of expressions
  std::vector<std::uint32_t> keptMarks;
};

}  // namespace runtime

#endif
