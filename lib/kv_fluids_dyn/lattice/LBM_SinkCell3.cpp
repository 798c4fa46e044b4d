#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"

namespace kelvar::fluid {

template <class T>
LBM_SinkCell3<T>::LBM_SinkCell3() {
    this->type = LBM_CELL_SINK;
}

template <class T>
LBM_SinkCell3<T>::~LBM_SinkCell3() = default;

// Exported through the explicit instantiation declaration in the header.
template class LBM_SinkCell3<float>;

}  // namespace kelvar::fluid
