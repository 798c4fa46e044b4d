#pragma once

#include <memory>

#include "kv_basic/Export.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/domain/MAC_LBM_SolverContext3.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/solver/LBM_Solver3.h"
#include "kv_fluids_dyn/solver/SolverPassTimes.h"
#include "kv_math/Vector3.h"

namespace kelvar::fluid {

struct SolverWorkspace;

// The free-surface lattice-Boltzmann solver. It advances each attached
// MAC_LBM_Fluid3 by whole sub-steps of the fluid's own length; one sub-step
// streams and relaxes the liquid cells, moves mass across the interface,
// carries the marker particles with the flow, relabels cells from the
// particles and gives the density lost on the way back to the liquid (the
// stage order is explained in MAC_LBM_Solver3.cpp).
//
// Requirements: the fluids are attached and sized, and initialize() has run
// with at least one thread, before the first solve(); every liquid cell
// holds its grid index; the fluid's liquid, solid and sink counts are exact.
// Guarantees: every pass runs through runParallel on `threads` workers and
// writes only per-worker scratch, its own element, the neighbour slots that
// the streaming operations assign to exactly one cell, or single flag bits of
// neighbours through atomic operations; per-worker results are merged in
// thread order, so the outcome does not depend on the thread count. After the
// first sub-steps no pass allocates: per-worker lists live in the solver.
//
// The passes are protected so that a derived solver, a test or a benchmark
// can run one of them on its own; each is a thin call into a pass of its own
// (solver/internal/*Pass.h) with explicit inputs and its own scratch, and
// gives the same result whoever calls it.
class KV_EXPORT MAC_LBM_Solver3 : public LBM_Solver3<MAC_LBM_Fluid3, MAC_LBM_SolverContext3, float> {
public:
    using Base = LBM_Solver3<MAC_LBM_Fluid3, MAC_LBM_SolverContext3, float>;
    using NeighborArray = MAC_LBM_Fluid3::NeighborArray;

    MAC_LBM_Solver3();
    // Copies the fluids and counters; the passes' scratch starts afresh.
    MAC_LBM_Solver3(const MAC_LBM_Solver3& other);
    MAC_LBM_Solver3& operator=(const MAC_LBM_Solver3& other);
    ~MAC_LBM_Solver3() override;

    // Derives each fluid's sub-step, cell edge, cell mass, lattice viscosity
    // and speed limit from its parameters; resets the step count, every
    // fluid's time accumulator and its re-seeding generator. A domain that is
    // to resume from a checkpoint is restored after this.
    void initialize(const unsigned int& threads) override;
    // Runs as many sub-steps per fluid as its accumulated time holds.
    void solve(const float& dt) override;
    // Forgets the density that left the liquid outside the solver and the
    // momentum the obstacles took over the last frame.
    void preSolve() override;
    void postSolve() override;

    // Passes of the momentum exchange with obstacles. The obstacle forces are
    // the fluid's computeMomentum; these passes visit the solid cells and
    // change nothing.
    void initializeSolidCellsMomentum(const unsigned int& threads, MAC_LBM_Fluid3& fluid);
    void solidCellsMomentumExchange(const unsigned int& threads, MAC_LBM_Fluid3& fluid);

    // Accumulates the time of each pass into `times` (null stops measuring).
    void setPassTimes(SolverPassTimes* times) { passTimes = times; }

protected:
    using Base::collision;
    using Base::stream;

    // Streaming and collision (SolverStreaming.cpp).
    virtual void stream(const unsigned int& threads, MAC_LBM_Fluid3& fluid);
    virtual void collision(const unsigned int& threads, const MAC_LBM_SolverContext3& context, MAC_LBM_Fluid3& fluid);

    // Per-step cell lists and density sums (SolverCellArrays.cpp).
    void updateCellArrays(MAC_LBM_Fluid3& fluid);
    void updateSolidCellArray(MAC_LBM_Fluid3& fluid);
    void clearDynamicFlags(MAC_LBM_Fluid3& fluid);
    Tuple2<float, float> computeRhoAndMass(MAC_LBM_Fluid3& fluid);
    Tuple3<float> computeRhoInfo(MAC_LBM_Fluid3& fluid);

    // Interface cells and the lost density (SolverInterface.cpp).
    void updateEpsilon(const unsigned int& threads, MAC_LBM_Fluid3& fluid);
    void reconstructPdfs(const unsigned int& threads, MAC_LBM_SolverContext3& context, MAC_LBM_Fluid3& fluid);
    void massExchange(const unsigned int& threads, MAC_LBM_Fluid3& fluid);
    void distributeRho(const unsigned int& threads, const float& rhoSum, MAC_LBM_SolverContext3& context,
                       MAC_LBM_Fluid3& fluid);

    // Relabelling from the marker particles (SolverRelabel.cpp).
    void label(const unsigned int& threads, MAC_LBM_SolverContext3& context, MAC_LBM_Fluid3& fluid);
    void getNeighborCells(const MAC_LBM_Fluid3& fluid, const Tuple3<unsigned int>& ijk, NeighborArray& out) const;
    void getNeighborCells(const MAC_LBM_Fluid3& fluid, const unsigned int& i, const unsigned int& j,
                          const unsigned int& k, NeighborArray& out) const;

    // Marker particle advection (SolverAdvection.cpp).
    void advect_MAC_Particles(const unsigned int& threads, MAC_LBM_Fluid3& fluid);
    void advectParticle(const MAC_LBM_Fluid3& fluid, const Vector3<float>& velocity, MAC_Particle3& particle) const;
    // Cubic spline 0.25 (4 - 6 q^2 + 3 q^3) on [0, 1], 0.25 (2 - q)^3 on
    // (1, 2], zero elsewhere; not normalised.
    float SPHKernel(float q) const;
    // Surface normal at a cell: not estimated, always the zero vector.
    Vector3<double> computeNormal(MAC_LBM_Fluid3& fluid, unsigned int x, unsigned int y, unsigned int z);

private:
    void subStep(MAC_LBM_Fluid3& fluid);
    double keepMassThroughTheFlow(MAC_LBM_Fluid3& fluid, const double& massBefore);
    void balanceMass(MAC_LBM_Fluid3& fluid, const double& massBefore);

    // The passes and their scratch, and the re-seeding generator.
    std::unique_ptr<SolverWorkspace> work;
    SolverPassTimes* passTimes = nullptr;
};

}  // namespace kelvar::fluid
