#include "kv_fluids_dyn/solver/Solver3.h"

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"

namespace kelvar::fluid {

template <class Fluid>
Solver3<Fluid>::Solver3() = default;

template <class Fluid>
Solver3<Fluid>::Solver3(const Solver3& other) = default;

template <class Fluid>
Solver3<Fluid>& Solver3<Fluid>::operator=(const Solver3& other) = default;

template <class Fluid>
Solver3<Fluid>::~Solver3() = default;

template <class Fluid>
float Solver3<Fluid>::getSafeDt() const {
    float safe = kNoDtBound;
    for (const Fluid* fluid : fluids) {
        const float& dt = fluid->getSolverContext().getDt();
        if (dt < safe) safe = dt;
    }
    return safe;
}

template <class Fluid>
void Solver3<Fluid>::preSolve() {}

template <class Fluid>
void Solver3<Fluid>::postSolve() {}

template <class Fluid>
void Solver3<Fluid>::attach(Fluid& fluid) {
    fluids.push_back(&fluid);
}

template <class Fluid>
void Solver3<Fluid>::clear() {
    fluids.clear();
}

template class Solver3<MAC_LBM_Fluid3>;

}  // namespace kelvar::fluid
