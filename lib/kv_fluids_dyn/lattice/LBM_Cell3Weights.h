#pragma once

#include <vector>


namespace kelvar::fluid {

// The quadrature weight of every lattice direction, indexed by direction.
// Lattice-specific tables derive from it and fill it once.
template <class T>
class LBM_Cell3Weights : public std::vector<T> {
protected:
    LBM_Cell3Weights() = default;
};

}  // namespace kelvar::fluid
