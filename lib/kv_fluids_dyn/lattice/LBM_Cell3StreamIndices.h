#pragma once

#include <vector>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// One direction of each opposite pair of the lattice. A pass that treats each
// of them together with its opposite at every cell touches every link once.
class KV_EXPORT LBM_Cell3StreamIndices : public std::vector<unsigned int> {
protected:
    LBM_Cell3StreamIndices() = default;
};

}  // namespace kelvar::fluid
