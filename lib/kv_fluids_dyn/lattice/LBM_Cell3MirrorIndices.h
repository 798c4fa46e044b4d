#pragma once

#include <vector>

#include "kv_basic/Export.h"

namespace kelvar::fluid {

// Rows indexed by axis direction; row r maps every direction to its mirror
// image in the plane normal to axis r. Only the rows of the positive axis
// directions are filled; the others are empty.
class KV_EXPORT LBM_Cell3MirrorIndices : public std::vector<std::vector<unsigned int>> {
protected:
    LBM_Cell3MirrorIndices() = default;
};

}  // namespace kelvar::fluid
