#include "pid/pid_state.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace loopbox {

namespace {

template <std::size_t count>
bool AllFinite(const double (&values)[count]) {
  return std::all_of(std::begin(values), std::end(values), [](double value) { return std::isfinite(value); });
}

}  // namespace

void TPidState::Reset() {
  TPidState fresh;
  fresh.r0 = r0;
  fresh.tI = tI;
  fresh.tD = tD;
  fresh.ksi = ksi;
  fresh.omega = omega;
  fresh.b2Prev = b2Prev;
  *this = fresh;
}

void TPidState::ThetaFromModel() {
  theta[1] = -a1;
  theta[2] = b1;
  theta[3] = -a2;
  theta[4] = b2;
}

void TPidState::ModelFromTheta() {
  a1 = -theta[1];
  b1 = theta[2];
  a2 = -theta[3];
  b2 = theta[4];
}

bool IsFinite(const TPidState& state, const TIdentState& ident) {
  const double single[] = {state.a1, state.a2, state.b1, state.b2, state.forgetCoefficient, ident.nu};
  return AllFinite(single) && AllFinite(state.theta) && AllFinite(state.ldFactor) && AllFinite(ident.dDiag);
}

}  // namespace loopbox
