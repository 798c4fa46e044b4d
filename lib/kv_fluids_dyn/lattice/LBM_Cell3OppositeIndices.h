#pragma once

#include <vector>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// Entry i is the direction whose vector is the negation of direction i's.
// Lattice-specific tables derive from it and fill it once.
class KV_EXPORT LBM_Cell3OppositeIndices : public std::vector<unsigned int> {
protected:
    LBM_Cell3OppositeIndices() = default;
};

}  // namespace kelvar::fluid
