#pragma once

#include <cstdint>

#include "kv_basic/Export.h"
#include "kv_math/Vector2.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

// A marker particle carried with the liquid: where it is, how fast it moves,
// which emitter made it and the texture coordinates it brought along. The
// field order is also the record order of the checkpoint files.
struct KV_EXPORT MAC_Particle3 {
    uint32_t id = 0;          // unique within its particle system
    Vector3<float> position;  // grid units
    Vector3<float> velocity;  // grid units per time unit
    uint16_t sourceId = 0;    // emitter that created the particle
    Vector2<float> uv;        // texture coordinates from the emitter
};

}  // namespace kelvar::fluid
