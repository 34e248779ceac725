// Conversions between the host's values, doubles and integers. Each is defined
// for every argument, and the same on every platform.
#ifndef LOOPBOX_REGULATOR_CONVERSION_H
#define LOOPBOX_REGULATOR_CONVERSION_H

#include <cstdint>

#include "host/hx_main.h"

namespace loopbox {

// Truncates toward zero; beyond the range of the result its nearest end; NaN
// gives 0.
std::int32_t RealToInteger(double real);
std::uint32_t RealToCardinal(double real);

// The nearest end of the range for a value beyond it.
std::int32_t Narrow(std::int64_t wide);

// The number that the value holds, truncated as RealToCardinal does. Signed
// numbers are taken as their 32-bit words; 0xFFFFFFFF for a value that is no
// number.
std::uint32_t ValueToCardinal(const hx_expr::TValue& value);

// False, and *real untouched, for a value that is no number.
bool ValueToReal(const hx_expr::TValue& value, double* real);

}  // namespace loopbox

#endif
