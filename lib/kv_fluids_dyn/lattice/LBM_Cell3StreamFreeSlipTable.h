#pragma once

#include <array>
#include <vector>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// One row of five entries per direction, read by the free-slip wall
// streaming: for a diagonal d, entries 0 and 1 are the axis directions that
// make up d, entries 2 and 3 its mirror images across the planes normal to
// entry 1's and entry 0's axes, entry 4 the position (0 or 1) of the first
// of entries 2 and 3 that is present. 0xFFFFFFFF marks an absent entry.
class KV_EXPORT LBM_Cell3StreamFreeSlipTable : public std::vector<std::array<unsigned int, 5>> {
public:
    static constexpr unsigned int none = 0xFFFFFFFFu;

protected:
    LBM_Cell3StreamFreeSlipTable() = default;
};

}  // namespace kelvar::fluid
