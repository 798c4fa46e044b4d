#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3StreamIndices.h"

#include <iterator>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

const LBM_Q19_Cell3StreamIndices* LBM_Q19_Cell3StreamIndices::instance() {
    static const LBM_Q19_Cell3StreamIndices table;
    return &table;
}

LBM_Q19_Cell3StreamIndices::LBM_Q19_Cell3StreamIndices() {
    assign(std::begin(q19::kStreamIndex), std::end(q19::kStreamIndex));
}

LBM_Q19_Cell3StreamIndices::~LBM_Q19_Cell3StreamIndices() = default;

}  // namespace kelvar::fluid
