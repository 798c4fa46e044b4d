#include "kv_fluids_dyn/domain/KV_Combo.h"

namespace kelvar::fluid {

// The seed is taken as its unsigned bit pattern so that negative seeds work
// without signed overflow.
KV_Combo::KV_Combo(const int& seed)
    : x(static_cast<uint32_t>(seed) * 8u + 3u),
      y(static_cast<uint32_t>(seed) * 2u + 1u),
      z(static_cast<uint32_t>(seed) | 1u) {}

}  // namespace kelvar::fluid
