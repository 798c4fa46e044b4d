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
    uint32_t next();
    // The next draw scaled into [0, 1] (divided by 2^32 - 1 in double precision).
    float nextUnit();

    const uint32_t& getX() const { return x; }
    const uint32_t& getY() const { return y; }
    const uint32_t& getZ() const { return z; }

private:
    uint32_t x;
    uint32_t y;
    uint32_t z;
};

}  // namespace kelvar::fluid
