#pragma once

#include <cstdint>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// The random generator that places marker particles: a combination of a
// multiplicative lagged generator (x, y) and a multiply-with-carry generator
// (z), all in unsigned 32-bit arithmetic. A generator seeded with the same
// value always draws the same sequence, which is what makes emission
// reproducible: every emission worker seeds its own copy from one seed.
class KV_EXPORT KV_Combo {
public:
    // x = seed * 8 + 3, y = seed * 2 + 1, z = seed | 1: all three odd.
    explicit KV_Combo(const int& seed);

    // The next 32-bit draw.
    uint32_t next() {
        const uint32_t product = x * y;
        x = y;
        y = product;
        z = kCarryMultiplier * (z & kLowHalf) + (z >> 16);
        return y + z;
    }
    // The next draw divided by 2^32 - 1 in double precision, as a float in
    // [0, 1]. It multiplies by the double reciprocal instead, which is
    // cheaper: for every one of the 2^32 draws the float result is the same
    // bits as the quotient's (checked exhaustively).
    float nextUnit() { return static_cast<float>(static_cast<double>(next()) * kInverseLargestDraw); }

private:
    // Multiplier of the multiply-with-carry half, which works on 16-bit halves.
    static constexpr uint32_t kCarryMultiplier = 30903u;
    static constexpr uint32_t kLowHalf = 0xFFFFu;
    static constexpr double kLargestDraw = 4294967295.0;
    static constexpr double kInverseLargestDraw = 1.0 / kLargestDraw;

    uint32_t x;
    uint32_t y;
    uint32_t z;
};

}  // namespace kelvar::fluid
