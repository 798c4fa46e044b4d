#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Export.h"
#include "kv_basic/Tuple.h"

namespace kelvar::fluid {

// The integer displacement of every lattice direction, indexed by direction:
// entry i is the grid offset (first = x, second = y, third = z) from a cell to
// its neighbour in direction i. Lattice-specific tables derive from it and
// fill it once; callers index it directly.
class KV_EXPORT LBM_Cell3Shifter : public Array<Tuple3<int32_t>> {
protected:
    LBM_Cell3Shifter() = default;
};

}  // namespace kelvar::fluid
