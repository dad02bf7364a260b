// The process-wide pseudo-random generator: an additive-feedback generator
// over a table of 32-bit words (x[i] += x[i - sep], value = word >> 1), with a
// linear congruential fallback for state buffers too small for the table.
// Every random choice of the program draws from this one sequence, so a fixed
// seed gives the same pictures on every run, build type and machine.
//
// Before any seeding the generator runs from its built-in table, which is the
// state that seed 1 leaves in the default 31-word table.
//
// State buffers handed to `xrandom_initstate`/`xrandom_setstate` stay owned by
// the caller and must outlive their use as the current state; they must be
// aligned for 32-bit words.  Word 0 of a buffer holds the packed type/position
// word (5 × rear position + type), the state words follow.
//
// Single-threaded: the state is global and unguarded.
#pragma once

#include <cstdint>

// Next raw value, 0 to 2^31 - 1.
std::int32_t xrandom();

// Makes `buffer` (`bytes` long) the current state and seeds it.  The size
// picks the generator: below 32 bytes the linear congruential one, below 64 a
// 7-word table, below 128 15 words, below 256 31 words, else 63 words.
// Returns the previous state buffer (its packed word, to hand back to
// `xrandom_setstate`), or null after the error for fewer than 8 bytes, in
// which case nothing changed.
void *xrandom_initstate(std::uint32_t seed, void *buffer, int bytes);

// Switches to a state buffer made earlier by `xrandom_initstate` (or returned
// by either function), continuing where it stopped.  A corrupted packed word
// (a negative type, or a rear position outside the table) is an error; when
// the error channel returns, the buffer is still used, with the previous type
// or with the taps at their start.  Returns the previous state buffer (null
// for a null or misaligned buffer, which is refused).
void *xrandom_setstate(void *buffer);

// Seeds the current state at start-up: from the process id, time and
// processor clock, unless "seed.rand" under "*.runtime.random-seeds" holds a
// value; with "seed.incr" true the saved seed "seed.save" is added.  The seed
// used is written back to "seed.save", so copying it into "seed.rand" repeats
// a run.  A second call re-seeds with a warning.
void xrand_init();

// Raw value mod (2^31 - 1): 0 to 2^31 - 2.
std::int32_t xrand();

// min + (max - min) × u truncated toward zero, u = xrand() / 2^31 in [0, 1):
// xrand_mm(0, n) gives 0 to n - 1, xrand_mm(n, n) gives n, and a reversed
// range xrand_mm(10, 0) gives 0 to 10.  Any two 32-bit bounds are safe.
std::int32_t xrand_mm(std::int32_t min, std::int32_t max);

// min + (max - min) × u with the same u, worked in extended precision.
double xrand_fmm(double min, double max);

// A standard normal deviate (mean 0, variance 1), made in pairs by the polar
// method: every second call returns the kept partner without drawing.
double xrand_gauss();

// True when round(100 × u) > 50: slightly less often true than false.
bool xrand_bool();
