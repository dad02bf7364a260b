// Gradient noise for the procedural textures: a smooth, repeatable pseudo-
// random function of three coordinates.  The lattice of integer points carries
// one of 12 gradient directions (the edge midpoints of a cube, (±1, ±1, 0) and
// its permutations), picked by hashing the point through a fixed permutation
// table; between the points the gradients' contributions blend with the
// quintic fade 6t^5 - 15t^4 + 10t^3, so the noise is smooth in value, slope
// and curvature across cell borders.
//
// The permutation comes from a private fixed-seed generator, never from the
// program's random numbers: the same coordinates give the same noise in every
// run and build, and calling the noise changes no random sequence.  The noise
// repeats every 256 units along each axis.  Coordinates keep their detail while
// a float holds their fractions (|v| well below 2^23); from 2^24 on every value
// lies on a lattice plane, and infinite or NaN coordinates count as 0.
#pragma once

// Builds the lattice permutation ("noise_table") if it is not built yet.  Every
// noise function does so itself; calling it up front only moves the moment.
void xnoise_init();

// Noise in [-1, 1], 0 at every lattice point (all three coordinates integers).
// The values spread roughly like a bell around 0; magnitudes near 1 are rare.
float xnoise(float x, float y, float z);

// Vector noise for displacing texture coordinates: three noises of the same
// kind, from three far-apart, unrelated parts of the lattice, stored into
// result[0..2].  Each component lies in [-1, 1] and is 0 at lattice points;
// result[0] equals xnoise(x, y, z).
void xnoise_d(float x, float y, float z, float result[3]);

// Turbulence: the sum over `octaves` octaves of |xnoise| with the frequency
// doubling and the weight halving at each octave (1, 1/2, 1/4, ...).  In
// [0, 2); 0 for octaves <= 0; octaves beyond the 32nd would add less than
// 2^-32 each and are not computed.
float xnoise_turbulence(float x, float y, float z, int octaves);

// sin(2·pi·value): a smooth wave of period 1 in [-1, 1], 0 at whole and half
// numbers, 1 at 0.25, -1 at 0.75.
float xnoise_cycloidal(float value);

// Triangle wave of period 1 in [0, 1]: 0 at whole numbers, rising linearly to
// 1 at half numbers and falling back.
float xnoise_twave(float value);
