#include <cmath>

#include "host/runlib.h"

namespace runlib {

double RealCos(double x) { return std::cos(x); }
double RealCosh(double x) { return std::cosh(x); }
double RealArcCos(double x) { return std::acos(x); }
double RealExp(double x) { return std::exp(x); }
double RealSqrt(double x) { return std::sqrt(x); }
double RealLn(double x) { return std::log(x); }

}  // namespace runlib
