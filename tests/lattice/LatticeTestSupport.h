#pragma once

#include <bit>
#include <cstdint>

#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

namespace kelvar::fluid::test {

inline constexpr unsigned kQ = 19;
inline constexpr unsigned kOpp[kQ] = {0, 3, 4, 1, 2, 6, 5, 9, 10, 7, 8, 13, 14, 11, 12, 17, 18, 15, 16};

inline uint32_t bitsOf(float x) { return std::bit_cast<uint32_t>(x); }
inline float fromBits(uint32_t b) { return std::bit_cast<float>(b); }

// A free-surface cell whose protected collision operators and slots are
// reachable from the tests.
struct ProbeCell : LBM_Q19_MAC_Cell3F {
    using LBM_Q19_Cell3<float>::collisionBGK;
    using LBM_Q19_Cell3<float>::collisionRLBSmag;

    float sumOfSlots() const {
        float sum = 0.0f;
        for (unsigned i = 0; i < kQ; ++i) sum += getPdfAt(i);
        return sum;
    }
};

// 19 empty neighbour entries (no cell anywhere).
inline LBM_Q19_MAC_Cell3F::Neighbours noNeighbours() { return LBM_Q19_MAC_Cell3F::Neighbours(kQ); }

}  // namespace kelvar::fluid::test
