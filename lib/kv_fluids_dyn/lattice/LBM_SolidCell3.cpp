#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {

template <class T>
LBM_SolidCell3<T>::LBM_SolidCell3() {
    this->type = LBM_CELL_SOLID;
}

template <class T>
LBM_SolidCell3<T>::~LBM_SolidCell3() = default;

// Exported through the explicit instantiation declaration in the header.
template class LBM_SolidCell3<float>;

}  // namespace kelvar::fluid
