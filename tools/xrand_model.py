#!/usr/bin/env python3
"""Independent model of the xrand generator, written from its documented
algorithm, that prints the sequences tests/xmath/xrand_test.cpp expects.

  seeding:   word 0 = seed, word i = 1103515245 * word(i-1) + 12345 (mod 2^32),
             then 10 x degree draws are discarded;
  drawing:   additive feedback, front tap += rear tap (mod 2^32), result is
             the sum shifted right by one; a 1-word table (type 0) is the
             31-bit linear congruential step instead;
  xrand:     raw mod (2^31 - 1);  xrand_mm: min + (max - min) * k / 2^31
             truncated toward zero;  xrand_fmm: min + (max - min) * k / 2^31;
  xrand_bool: round(100 * k / 2^31) > 50;  xrand_gauss: the polar method
             on u = k / (2^31 - 1), v = 2u - 1, first value v1 * sqrt(-2 ln s / s).

Scaled values use exact rational arithmetic and are rounded once at the end.
Run:  python3 tools/xrand_model.py
"""
import math
from fractions import Fraction

MULT, INC, M32 = 1103515245, 12345, 2**32
TYPES = {  # state bytes below the bound -> (degree, separation)
    32: (0, 0), 64: (7, 3), 128: (15, 1), 256: (31, 3), None: (63, 1)}


def table_for(nbytes):
    for bound, shape in TYPES.items():
        if bound is None or nbytes < bound:
            return shape


class Generator:
    def __init__(self, seed, nbytes=128):
        self.deg, self.sep = table_for(nbytes)
        self.words = [seed % M32]
        if self.deg == 0:
            return
        for i in range(1, self.deg):
            self.words.append((MULT * self.words[i - 1] + INC) % M32)
        self.rear, self.front = 0, self.sep
        for _ in range(10 * self.deg):
            self.raw()

    def raw(self):
        if self.deg == 0:
            self.words[0] = (MULT * self.words[0] + INC) & 0x7FFFFFFF
            return self.words[0]
        w = self.words
        w[self.front] = (w[self.front] + w[self.rear]) % M32
        value = w[self.front] >> 1
        self.front = (self.front + 1) % self.deg
        self.rear = (self.rear + 1) % self.deg
        return value

    def xrand(self):
        return self.raw() % (2**31 - 1)

    def mm(self, lo, hi):
        n = lo * 2**31 + (hi - lo) * self.xrand()
        return int(Fraction(n, 2**31))  # truncates toward zero

    def fmm(self, lo, hi):
        return float(Fraction(lo) + (Fraction(hi) - Fraction(lo)) * Fraction(self.xrand(), 2**31))

    def boolean(self):
        return round(Fraction(100 * self.xrand(), 2**31)) > 50

    def gauss_pair(self):
        while True:
            v1 = 2.0 * (self.xrand() / 2147483647.0) - 1.0
            v2 = 2.0 * (self.xrand() / 2147483647.0) - 1.0
            s = v1 * v1 + v2 * v2
            if 0.0 < s < 1.0:
                f = math.sqrt(-2.0 * math.log(s) / s)
                return v1 * f, v2 * f


def first(seed, nbytes, count, draw="raw", *args):
    g = Generator(seed, nbytes)
    return [getattr(g, draw)(*args) for _ in range(count)]


if __name__ == "__main__":
    model_seed, derived_seed = 20240607, 0xC0FFEE
    for nbytes in (8, 32, 64, 128, 256):
        print(f"seed {model_seed}, {nbytes} bytes:", first(model_seed, nbytes, 5))
    print("seed 1, 128 bytes (the built-in table):", first(1, 128, 6))
    print("xrand:", first(derived_seed, 128, 8, "xrand"))
    print("xrand_mm(-1000, 1000):", first(derived_seed, 128, 8, "mm", -1000, 1000))
    print("xrand_fmm(-360, 360):", [repr(v) for v in first(derived_seed, 128, 8, "fmm", -360, 360)])
    print("xrand_bool:", first(derived_seed, 128, 8, "boolean"))
    g = Generator(derived_seed, 128)
    print("xrand_gauss:", [repr(v) for _ in range(2) for v in g.gauss_pair()])
    g = Generator(1, 128)
    print("seed 1 table words:", [f"0x{w:08x}" for w in g.words],
          "taps (rear, front):", (g.rear, g.front))
    print("first raw of seed 230538014, 8 bytes:", first(230538014, 8, 1))
