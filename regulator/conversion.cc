#include "regulator/conversion.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace loopbox {

namespace {

// The limits of 32-bit integers are doubles exactly.
template <typename TInteger>
TInteger Truncate(double real) {
  using TLimits = std::numeric_limits<TInteger>;
  if (std::isnan(real)) return 0;
  if (real <= static_cast<double>(TLimits::min())) return TLimits::min();
  if (real >= static_cast<double>(TLimits::max())) return TLimits::max();
  return static_cast<TInteger>(real);
}

}  // namespace

std::int32_t RealToInteger(double real) { return Truncate<std::int32_t>(real); }

std::uint32_t RealToCardinal(double real) { return Truncate<std::uint32_t>(real); }

std::int32_t Narrow(std::int64_t wide) {
  using TLimits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(wide, TLimits::min(), TLimits::max()));
}

std::uint32_t ValueToCardinal(const hx_expr::TValue& value) {
  switch (value.type) {
    case hx_expr::kUnsigned8:
      return value.unsigned8;
    case hx_expr::kUnsigned16:
      return value.unsigned16;
    case hx_expr::kUnsigned32:
      return value.unsigned32;
    case hx_expr::kSigned8:
      return static_cast<std::uint32_t>(std::int32_t{value.signed8});
    case hx_expr::kSigned16:
      return static_cast<std::uint32_t>(std::int32_t{value.signed16});
    case hx_expr::kSigned32:
      return static_cast<std::uint32_t>(value.signed32);
    case hx_expr::kSingle:
      return RealToCardinal(value.single);
    case hx_expr::kReal:
      return RealToCardinal(value.real);
    default:
      return 0xFFFFFFFF;
  }
}

bool ValueToReal(const hx_expr::TValue& value, double* real) {
  switch (value.type) {
    case hx_expr::kUnsigned8:
      *real = value.unsigned8;
      return true;
    case hx_expr::kUnsigned16:
      *real = value.unsigned16;
      return true;
    case hx_expr::kUnsigned32:
      *real = value.unsigned32;
      return true;
    case hx_expr::kSigned8:
      *real = value.signed8;
      return true;
    case hx_expr::kSigned16:
      *real = value.signed16;
      return true;
    case hx_expr::kSigned32:
      *real = value.signed32;
      return true;
    case hx_expr::kSingle:
      *real = static_cast<double>(value.single);
      return true;
    case hx_expr::kReal:
      *real = value.real;
      return true;
    default:
      return false;
  }
}

}  // namespace loopbox
