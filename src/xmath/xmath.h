// Fast approximations used in the raytracer's inner loops.  Both keep their
// limited precision on purpose: the pictures depend on the exact values, so
// neither may be refined.
#pragma once

// Square root from a 256-entry table of single-precision mantissas, indexed by
// the exponent's parity and the top seven mantissa bits of x: the result keeps
// only those seven bits of the input (relative error below 0.4 %, never above
// the true root by more than a rounding).  Exact at even powers of two
// (4 gives 2); 0 (and -0) gives 0.  For positive, finite, normal x only:
// negative input is not checked and gives a meaningless value.  The table is
// built on the first call and lives until exit.
float xmath_fast_sqrt(float x);

// Arctangent by a fifth-degree odd polynomial, without range reduction: for
// |x| <= 1 (absolute error about 1e-5); 1 gives 0.7854096, slightly above
// pi/4.
double xmath_fast_atan(double x);
