// The solid momentum passes of the free-surface solver. Forces on obstacles
// are computed by the fluid (MAC_LBM_Fluid3::computeMomentum); these passes
// belong to the solver's interface only, visit the solid cells on the worker
// threads and deliberately change nothing.

#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

void MAC_LBM_Solver3::initializeSolidCellsMomentum(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    runParallel(fluid.refArrSolidCells(), [](const unsigned int&, LBM_SolidCell3<float>*) {}, threadCount);
}

void MAC_LBM_Solver3::solidCellsMomentumExchange(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    runParallel(fluid.refArrSolidCells(), [](const unsigned int&, LBM_SolidCell3<float>*) {}, threadCount);
}

}  // namespace kelvar::fluid
