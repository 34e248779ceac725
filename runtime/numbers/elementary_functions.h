// The elementary functions of the runtime and of expressions.
//
// C libraries differ in the last bit, from one another and from one processor
// to the next; these give the same bits wherever double is IEEE binary64,
// rounded to nearest, and operations are not contracted. Each result is worked
// out as a sum of two or more doubles with a relative error below 2^-95
// (2^-100 as a rule) and rounded once, also when it is subnormal: it is the
// correctly rounded one unless the true value lies that near to the middle
// between two doubles, a chance of about 2^-40 for an argument taken at random.
// Arguments for which it must lie so near are treated on their own: the
// surroundings of 0 and 1, squares, inverses, square roots, and powers that are
// exact. A shorter evaluation comes
// first, and is enough for all but a few of a hundred arguments: its error is
// bounded where it stands, and only what that bound can't make round otherwise is
// taken from it (Ziv's test).
//
// Special values, signed zeros and infinities are as in annex F of the C
// standard. Every NaN that comes out is the same positive quiet one, whatever
// NaN went in. errno and the floating-point exceptions mean nothing.
//
// Square root, remainder, rounding and absolute value need no place here: IEEE
// and C define them to the last bit, so those of <cmath> serve.
//
// Literature: Dekker (A floating-point technique for extending the available
// precision, 1971); Payne and Hanek (Radian reduction for trigonometric
// functions, 1983); Cody, Waite (Software Manual for the Elementary Functions,
// 1980); Ziv (Fast evaluation of elementary mathematical functions with correctly
// rounded last bit, 1991); Shewchuk (Adaptive precision floating-point arithmetic,
// 1997); Muller (Elementary Functions, 3rd edition, 2016).
#ifndef LOOPBOX_RUNTIME_NUMBERS_ELEMENTARY_FUNCTIONS_H
#define LOOPBOX_RUNTIME_NUMBERS_ELEMENTARY_FUNCTIONS_H

namespace elementary {

// Angles in radians, every finite one reduced exactly. NaN of ±infinity.
// Sin and Tan keep the sign of a zero.
double Sin(double x);
double Cos(double x);
double Tan(double x);

// NaN outside -1 … 1. ArcSin: -pi/2 … pi/2, keeps the sign of a zero;
// ArcCos: 0 … pi, +0 of 1.
double ArcSin(double x);
double ArcCos(double x);

// -pi/2 … pi/2, the ends of ±infinity; keeps the sign of a zero.
double ArcTan(double x);

// The angle of the point (x, y), -pi … pi, with the sign of y. Of (+0, ±0) and
// (+infinity, finite) ±0, of (-0, ±0) and (-infinity, finite) ±pi; with both
// infinite an odd multiple of pi/4.
double ArcTan2(double y, double x);

// +0 of -infinity. Overflows above 0x1.62e42fefa39efp+9, is 0 below
// -0x1.74910d52d3051p+9.
double Exp(double x);

// -infinity of ±0, NaN below, infinity of infinity, +0 of 1.
double Ln(double x);
double Log10(double x);

// Infinite above 0x1.633ce8fb9f87dp+9 in magnitude.
double Cosh(double x);

// x to the y. 1 when y is 0 or x is 1, even with a NaN; NaN for a finite x
// below 0 and a finite y that is no integer; the sign of x counts when y is an
// odd integer; 1 of -1 and ±infinity.
double Power(double x, double y);

}  // namespace elementary

#endif
