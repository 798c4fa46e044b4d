#pragma once

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/solver/internal/GridTypes.h"
#include "kv_fluids_dyn/solver/internal/ParticleLandings.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid {

// Marker particle advection. A particle in a liquid cell moves with the
// interpolated lattice velocity and bounces off solids; one in a solid is
// pushed into the liquid neighbour that best follows the solid's motion
// (or removed when there is none); one that has left the liquid is
// re-seeded at a random spot of a deep liquid cell (a full cell with no
// interface or solid neighbour). Afterwards the particle system carries the
// speed range of the particles that moved with the flow.
//
// The particles read the cells through a dense copy of every grid
// position's type and velocity (CellSample), so that a particle's eight
// interpolation corners are four cache lines rather than eight pointers to
// eight cells; the values are the cells' own, so the results are those of
// the grid. run() takes the copy at the start of the pass; in a sub-step the
// collision writes the liquid's part of it and runOnCollided() the rest.
//
// Input: the fluid's grid with current velocities, its liquid list with the
// flags of the last relabelling, the particles, and the generator state of
// the re-seeding offsets in the fluid's context. Output: the particles and
// the generator state.
// The common case goes eight particles at a time where the processor allows
// (AdvectionLanes), with the same results; the rest one at a time.
//
// Re-seeding goes before removals: it holds particle pointers, and a removal
// may re-sort a chunk of the pool and move particles.
class AdvectionPass {
public:
    // Copies every grid position's sample, then moves the particles.
    void run(MAC_LBM_Fluid3& fluid, const unsigned int& threads);

    // The sub-step's form, where the collision writes the liquid cells'
    // samples while it has the cells at hand (collideLiquidCells): it
    // writes into samplesForCollision(grid), then runOnCollided() brings the
    // other samples up to date and moves the particles as run() does. The
    // types come from `types`, as the sub-step's cell-list walk wrote them,
    // and are rewritten only where a position's code changed since the last
    // such update; the solids' and sinks' velocities from the fluid's lists.
    // Samples of positions without a cell keep a stale velocity, which
    // nothing reads.
    CellSample* samplesForCollision(const SolverGrid& grid);
    void runOnCollided(MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads);

    // The samples the last run moved the particles on.
    const Array<CellSample>& cellSamples() const { return samples; }

    // One particle of a liquid cell moved by `velocity` (lattice units), with
    // the bounce off solids; what run() does for each such particle.
    static void moveWithFlow(const MAC_LBM_Fluid3& fluid, const Vector3<float>& velocity, MAC_Particle3& particle);

    // The same on the dense samples: `velocity` sampled by `cells`, which
    // run() built over `grid`. Returns the particle's landing cell as a
    // ParticleLandings code.
    static uint32_t moveOnSamples(const SampledVelocitySampler& cells, const SolverGrid& grid,
                                  const Vector3<float>& velocity, MAC_Particle3& particle);

    // Where the last run() left the particles, for the relabelling of the
    // same sub-step; null when it removed particles (the particle array then
    // changes) or had none.
    const ParticleLandings* landings() const { return landingsValid ? &landed : nullptr; }

    // Copies the type and velocity of every grid position into `samples`,
    // one entry per grid pointer; what run() samples the velocities from.
    static void sampleCells(const SolverGrid& grid, Array<CellSample>& samples, const unsigned int& threads);

private:
    struct alignas(64) Scratch {
        MovingNeighbours neighbours;
        Array<unsigned int> removedIds;
        ArrayOfPtr<MAC_Particle3, KV_NO> lost;
        LiquidCells deep;
        // Extremes of the squared speeds in double, as the speeds are
        // measured; the speeds themselves are taken once per pass.
        double minSpeed2 = 0.0;
        double maxSpeed2 = 0.0;
    };

    void updateSamples(const MAC_LBM_Fluid3& fluid, const GridTypes& types, const unsigned int& threads);
    void moveParticles(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void collectDeepCells(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void reseedLostParticles(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void appendLostIds(const Scratch* perThread, const uint32_t& workers);

    PerWorker<Scratch> perWorker;
    LiquidCells deepCells;
    Array<unsigned int> removedIds;
    Array<CellSample> samples;
    // The type code each sample holds, while typesSampled: what
    // runOnCollided compares the codes with.
    Array<unsigned char> sampledTypes;
    bool typesSampled = false;
    Array<uint32_t> landedCells;
    ParticleLandings landed{};
    bool landingsValid = false;
};

}  // namespace kelvar::fluid
