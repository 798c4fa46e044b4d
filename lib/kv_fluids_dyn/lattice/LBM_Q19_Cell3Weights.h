#pragma once

#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3Weights.h"

namespace kelvar::fluid {

template <class T>
class LBM_Q19_Cell3;
class LBM_Q19_MAC_Cell3F;

// The D3Q19 weights: 1/3 for the rest direction, 1/18 for the six axis
// directions, 1/36 for the twelve diagonals, each the nearest value of T.
// The one object is reached through the cells' getWeights(); it is built on
// the first call and read-only afterwards.
template <class T>
class LBM_Q19_Cell3Weights : public LBM_Cell3Weights<T> {
public:
    ~LBM_Q19_Cell3Weights();

private:
    template <class>
    friend class LBM_Q19_Cell3;
    friend class LBM_Q19_MAC_Cell3F;

    static const LBM_Q19_Cell3Weights* shared();

    LBM_Q19_Cell3Weights();
    LBM_Q19_Cell3Weights(const LBM_Q19_Cell3Weights&) = delete;
    LBM_Q19_Cell3Weights& operator=(const LBM_Q19_Cell3Weights&) = delete;
};

extern template class KV_EXPORT LBM_Q19_Cell3Weights<float>;

}  // namespace kelvar::fluid
