#include "kv_fluids_dyn/lattice/LBM_Cell3.h"

namespace kelvar::fluid {

template <class T>
LBM_Cell3<T>::~LBM_Cell3() = default;

template <class T>
void LBM_Cell3<T>::initialize() {
    type = LBM_CELL_NONE;
}

template <class T>
bool LBM_Cell3<T>::operator==(const LBM_Cell3& other) const {
    return type == other.type && velocity.x == other.velocity.x && velocity.y == other.velocity.y &&
           velocity.z == other.velocity.z;
}

// Exported through the explicit instantiation declaration in the header.
template class LBM_Cell3<float>;

}  // namespace kelvar::fluid
