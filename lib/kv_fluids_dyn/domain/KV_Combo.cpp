#include "kv_fluids_dyn/domain/KV_Combo.h"

namespace kelvar::fluid {

namespace {

// Multiplier of the multiply-with-carry half, which works on 16-bit halves.
constexpr uint32_t kCarryMultiplier = 30903u;
constexpr uint32_t kLowHalf = 0xFFFFu;
constexpr double kLargestDraw = 4294967295.0;

}  // namespace

// The seed is taken as its unsigned bit pattern so that negative seeds work
// without signed overflow.
KV_Combo::KV_Combo(const int& seed)
    : x(static_cast<uint32_t>(seed) * 8u + 3u),
      y(static_cast<uint32_t>(seed) * 2u + 1u),
      z(static_cast<uint32_t>(seed) | 1u) {}

uint32_t KV_Combo::next() {
    const uint32_t product = x * y;
    x = y;
    y = product;
    z = kCarryMultiplier * (z & kLowHalf) + (z >> 16);
    return y + z;
}

float KV_Combo::nextUnit() {
    return static_cast<float>(static_cast<double>(next()) / kLargestDraw);
}

}  // namespace kelvar::fluid
