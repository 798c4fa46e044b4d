#pragma once

namespace kelvar {

// A coordinate axis of grid or world space.
enum class KV_AXIS : unsigned { X = 0, Y = 1, Z = 2 };

}  // namespace kelvar
