// Conversions between the host's values, doubles and integers. Each is defined
// for every argument, and the same on every platform.
#ifndef LOOPBOX_REGULATOR_CONVERSION_H
#define LOOPBOX_REGULATOR_CONVERSION_H

#include <cstdint>

#include "host/hx_main.h"

namespace loopbox {

// Truncates toward zero. A number beyond the range of the result gives its
// nearest end, NaN gives 0.
std::int32_t RealToInteger(double real);
std::uint32_t RealToCardinal(double real);

// A value beyond 32 bits gives the nearest end of their range.
std::int32_t Narrow(std::int64_t wide);

// The number that the value holds, truncated as RealToCardinal does. A signed
// number gives its 32-bit word, a value that is no number 0xFFFFFFFF.
std::uint32_t ValueToCardinal(const hx_expr::TValue& value);

// When the value is no number: false, and *real stays as it is.
bool ValueToReal(const hx_expr::TValue& value, double* real);

}  // namespace loopbox

#endif
