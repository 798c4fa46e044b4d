#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Weights.h"

#include <iterator>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

template <class T>
const LBM_Q19_Cell3Weights<T>* LBM_Q19_Cell3Weights<T>::shared() {
    static const LBM_Q19_Cell3Weights table;
    return &table;
}

template <class T>
LBM_Q19_Cell3Weights<T>::LBM_Q19_Cell3Weights() {
    this->assign(std::begin(q19::kWeight), std::end(q19::kWeight));
}

template <class T>
LBM_Q19_Cell3Weights<T>::~LBM_Q19_Cell3Weights() = default;

// Exported through the explicit instantiation declaration in the header.
template class LBM_Q19_Cell3Weights<float>;

}  // namespace kelvar::fluid
