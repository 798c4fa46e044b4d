#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3MirrorIndices.h"

#include <iterator>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

const LBM_Q19_Cell3MirrorIndices* LBM_Q19_Cell3MirrorIndices::instance() {
    static const LBM_Q19_Cell3MirrorIndices table;
    return &table;
}

LBM_Q19_Cell3MirrorIndices::LBM_Q19_Cell3MirrorIndices() {
    resize(q19::kMirrorRowCount);
    (*this)[1].assign(std::begin(q19::kMirrorX), std::end(q19::kMirrorX));
    (*this)[2].assign(std::begin(q19::kMirrorY), std::end(q19::kMirrorY));
    (*this)[5].assign(std::begin(q19::kMirrorZ), std::end(q19::kMirrorZ));
}

LBM_Q19_Cell3MirrorIndices::~LBM_Q19_Cell3MirrorIndices() = default;

}  // namespace kelvar::fluid
