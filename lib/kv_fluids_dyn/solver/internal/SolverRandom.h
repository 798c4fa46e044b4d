#pragma once

#include <cstdint>

#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// The solver's own stand-in for the C runtime's rand(): a 32-bit linear
// congruential generator (x := 214013 x + 2531011) whose draws are bits 16
// to 30 of the state, so they cover [0, 32767] like rand(). Owned by one
// solver and drawn only on the thread that runs solve(), it keeps re-seeded
// particle positions reproducible from run to run and free of shared state.
class SolverRand {
public:
    static constexpr int kMax = 32767;
    static constexpr uint32_t kDefaultSeed = 1;

    explicit SolverRand(uint32_t seed = kDefaultSeed) : state(seed) {}

    void seed(uint32_t value) { state = value; }
    uint32_t getState() const { return state; }

    int operator()() {
        state = state * 214013u + 2531011u;
        return int((state >> 16) & 0x7FFFu);
    }

private:
    uint32_t state;
};

// Picks liquid cells for re-seeded particles: a multiply-with-carry word and
// a multiplicative lagged sequence, added, with draws outside the largest
// multiple of n below 2^32 rejected so that every index of [0, n) is equally
// likely. The advection pass builds a fresh picker per call, so every
// sub-step picks the same sequence of indices for the same n.
class ReseedCellPicker {
public:
    // An index in [0, n); n must be at least 1.
    uint32_t pick(uint32_t n) {
        const uint32_t limit = n * (0xFFFFFFFFu / n);
        for (;;) {
            const uint32_t t = b * a;
            a = b;
            b = t;
            carry = (carry >> 16) + (carry & 0xFFFFu) * 30903u;
            const uint32_t r = carry + t;
            if (r < limit) return r % n;
        }
    }

private:
    uint32_t carry = 1;
    uint32_t a = 3;
    uint32_t b = 1;
};

}  // namespace kelvar::fluid

namespace kelvar::fluid {

// Offset of a re-seeded particle from its cell's centre: a direction on the
// unit sphere from two draws r1, r2 of [0, 32767] (z = 1 - 2 r1 / 32767,
// azimuth r2 / 32768 turns), scaled to length 0.49. In world units and not
// scaled by the cell size: with the grid in cells it stays inside the cell.
Vector3<double> reseedOffset(int r1, int r2);

}  // namespace kelvar::fluid
