#include "kv_fluids_dyn/lattice/LBM_FluidCell3.h"

namespace kelvar::fluid {

template <class T>
LBM_FluidCell3<T>::~LBM_FluidCell3() = default;

template <class T>
void LBM_FluidCell3<T>::initialize() {
    this->type = LBM_CELL_NONE;
    this->velocity = Vector3<T>();
    force = Vector3<T>();
    density = T(0);
}

// Exported through the explicit instantiation declaration in the header.
template class LBM_FluidCell3<float>;

}  // namespace kelvar::fluid
