#include <cmath>

#include "host/runlib.h"
#include "runtime/numbers/elementary_functions.h"

namespace runlib {

double RealCos(double x) { return elementary::Cos(x); }
double RealCosh(double x) { return elementary::Cosh(x); }
double RealArcCos(double x) { return elementary::ArcCos(x); }
double RealExp(double x) { return elementary::Exp(x); }
double RealSqrt(double x) { return std::sqrt(x); }
double RealLn(double x) { return elementary::Ln(x); }

}  // namespace runlib
