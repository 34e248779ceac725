// The state of the control laws, of identification and of synthesis. Histories:
// element 0 is this period's, element k that of k periods ago.
#ifndef LOOPBOX_PID_PID_STATE_H
#define LOOPBOX_PID_PID_STATE_H

#include <cstddef>

namespace loopbox {

inline constexpr std::size_t kHistoryLength = 6;
inline constexpr std::size_t kThetaLength = 5;
inline constexpr std::size_t kFactorLength = 10;
inline constexpr std::size_t kDataLength = 6;

// The identified model is
//   y(k) + a1 y(k-1) + a2 y(k-2) = b1 u(k-1) + b2 u(k-2).
struct TPidState {
  // Back to the start, but for the parameters of the laws and b2Prev.
  void Reset();
  // theta 1 to 4 := -a1, b1, -a2, b2, and the reverse.
  void ThetaFromModel();
  void ModelFromTheta();
  // One period on: what stood in element k stands in k + 1, and element 0 stays as
  // it is. Wish and value go on in regulated periods alone.
  void Shift(bool regulated);

  double dt = 1.0;  // seconds since the previous regulated period
  double wish[kHistoryLength] = {};
  double output[kHistoryLength] = {};  // in the law's own direction; element 1 the previous output
  double value[kHistoryLength] = {};
  double r0 = 0.0;               // gain
  double tI = 0.0;               // integration time, seconds
  double tD = 0.0;               // derivative time, seconds
  double ksi = 0.0;              // damping of the wanted closed loop
  double omega = 0.0;            // its natural frequency, per second
  double derivationDelay = 0.2;  // the derivative's lag in multiples of tD
  double forgetCoefficient = 0.5;
  double a1 = -0.1;
  double a2 = -0.2;
  double b1 = 0.1;
  double b2 = 0.2;
  double b2Prev = 0.0;  // when the period began
  // Element 0 is the coefficient of u(k), which identification estimates beside the
  // model; the others are the model.
  double theta[kThetaLength] = {0.1, 0.1, 0.1, 0.2, 0.2};
  double ldFactor[kFactorLength] = {0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1};
  double thetaPrev[kThetaLength] = {0.1, 0.1, 0.1, 0.1, 0.1};  // before the last identification step
};

// Element by element: a call that moves 40 bytes costs more than the move.
inline void TPidState::Shift(bool regulated) {
  const auto shift = [](double(&history)[kHistoryLength]) {
    const double newest = history[0];
    const double moved[] = {history[1], history[2], history[3], history[4]};
    history[1] = newest;
    for (std::size_t i = 0; i < kHistoryLength - 2; ++i) history[i + 2] = moved[i];
  };
  shift(output);
  if (!regulated) return;
  shift(wish);
  shift(value);
}

struct TIdentState {
  double dDiag[kDataLength] = {1000.0, 1000.0, 1000.0, 1000.0, 1000.0, 1000.0};
  double nu = 1.0;            // degrees of freedom
  double rho = 1.0;           // weight of the forgetting formula
  double zetaMin = 0.000001;  // with less information in the data the factor stays
  double forgetMin = 0.001;   // least forgetting factor
};

// Whether all that an identification step writes is finite.
bool IsFinite(const TPidState& state, const TIdentState& ident);

}  // namespace loopbox

#endif
