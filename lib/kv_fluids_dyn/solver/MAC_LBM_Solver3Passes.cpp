// The passes of MAC_LBM_Solver3 as a derived solver, a test or a benchmark
// calls them one at a time: each hands its explicit inputs to the pass unit
// that subStep runs too (solver/internal/*Pass.h).

#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_fluids_dyn/solver/internal/CollisionPass.h"
#include "kv_fluids_dyn/solver/internal/DensitySums.h"
#include "kv_fluids_dyn/solver/internal/SolverWorkspace.h"

namespace kelvar::fluid {

// The type codes are written afresh: the grid may have changed since the
// last sub-step's cell lists.
void MAC_LBM_Solver3::stream(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    CellListsPass::writeTypes(fluid.getGrid(), work->types, threadCount);
    work->stream.run(fluid, work->types, threadCount);
}

void MAC_LBM_Solver3::collision(const unsigned int& threadCount, const MAC_LBM_SolverContext3& context,
                                MAC_LBM_Fluid3& fluid) {
    collideLiquidCells(fluid.refArrLiquidCells(), context, threadCount);
}

void MAC_LBM_Solver3::updateCellArrays(MAC_LBM_Fluid3& fluid) { work->cellLists.run(fluid, work->types, threads); }

void MAC_LBM_Solver3::updateSolidCellArray(MAC_LBM_Fluid3& fluid) { work->cellLists.runSolids(fluid, threads); }

void MAC_LBM_Solver3::clearDynamicFlags(MAC_LBM_Fluid3& fluid) { RelabelPass::clearStepFlags(fluid, threads); }

Tuple2<float, float> MAC_LBM_Solver3::computeRhoAndMass(MAC_LBM_Fluid3& fluid) {
    return gridDensityAndMass(fluid.getGrid());
}

Tuple3<float> MAC_LBM_Solver3::computeRhoInfo(MAC_LBM_Fluid3& fluid) { return gridDensityRange(fluid.getGrid()); }

void MAC_LBM_Solver3::updateEpsilon(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    InterfacePass::updateEpsilon(fluid, threadCount);
}

void MAC_LBM_Solver3::reconstructPdfs(const unsigned int& threadCount, MAC_LBM_SolverContext3&,
                                      MAC_LBM_Fluid3& fluid) {
    work->interface.reconstructPdfs(fluid, threadCount);
}

void MAC_LBM_Solver3::massExchange(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    work->interface.massExchange(fluid, threadCount);
}

void MAC_LBM_Solver3::distributeRho(const unsigned int& threadCount, const float& rhoSum,
                                    MAC_LBM_SolverContext3& context, MAC_LBM_Fluid3& fluid) {
    work->distribute.run(fluid, rhoSum, context, fluid.getSinksDrain(), threadCount);
}

// The wall cells are listed afresh from the liquid list, for solids as they
// stand: what the streaming of a sub-step lists before its relabelling.
void MAC_LBM_Solver3::label(const unsigned int& threadCount, MAC_LBM_SolverContext3&, MAC_LBM_Fluid3& fluid) {
    CellListsPass::writeTypes(fluid.getGrid(), work->types, threadCount);
    work->stream.listWallCells(fluid, work->types, threadCount);
    work->relabel.run(fluid, work->types, work->stream.wallCells(), MAC_LBM_Fluid3::SolverKey(), threadCount);
}

void MAC_LBM_Solver3::getNeighborCells(const MAC_LBM_Fluid3& fluid, const Tuple3<unsigned int>& ijk,
                                       NeighborArray& out) const {
    fluid.getNeighborCells(ijk, fluid.getGrid(), out);
}

void MAC_LBM_Solver3::getNeighborCells(const MAC_LBM_Fluid3& fluid, const unsigned int& i, const unsigned int& j,
                                       const unsigned int& k, NeighborArray& out) const {
    fluid.getNeighborCells(i, j, k, fluid.getGrid(), out);
}

void MAC_LBM_Solver3::advect_MAC_Particles(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    work->advection.run(fluid, threadCount);
}

void MAC_LBM_Solver3::advectParticle(const MAC_LBM_Fluid3& fluid, const Vector3<float>& velocity,
                                     MAC_Particle3& particle) const {
    AdvectionPass::moveWithFlow(fluid, velocity, particle);
}

float MAC_LBM_Solver3::SPHKernel(float q) const {
    if (q < 0.0f || q > 2.0f) return 0.0f;
    if (q <= 1.0f) return 0.25f * ((4.0f - 6.0f * q * q) + 3.0f * q * q * q);
    const float r = 2.0f - q;
    return 0.25f * (r * r * r);
}

Vector3<double> MAC_LBM_Solver3::computeNormal(MAC_LBM_Fluid3&, unsigned int, unsigned int, unsigned int) {
    return Vector3<double>();
}

}  // namespace kelvar::fluid
