#pragma once

#include <cstdint>

#include "kv_fluids_dyn/particles/MAC_Particle3.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid {

// The advection's common case eight particles at a time, on processors with
// AVX2: a particle whose own cell is liquid, on a grid of unit cells, whose
// 2x2x2 block of interpolation corners lies inside the grid and whose step
// does not end in a solid. Each lane runs the single-precision operations
// of the sampler's lattice path and of the step in their order (the corner
// choice, the own cell's velocity for corners that are not liquid, the
// trilinear blend, the step, the landing cell), so the particles end with
// the same bits. A particle outside the common case is not touched and is
// handed back for the scalar path.
class AdvectionLanes {
public:
    static constexpr uint32_t kWidth = 8;

    // Lanes over the dense samples of a grid of `shape`. `exactLattice` is
    // the sampler's onExactLattice(); without it, or without AVX2, the lanes
    // are disabled and move() hands every particle back.
    AdvectionLanes(const LatticeShape& shape, const bool& exactLattice, const CellSample* samples);

    bool enabled() const { return active; }

    // Moves the particles of particles[0, count) that take the common case,
    // writes their landing cells (ParticleLandings codes) to the same
    // entries of `landed` and folds their squared speeds, in double as the
    // scalar path measures them, into the two extremes. Writes the positions
    // in [0, count) of the other particles to `rest`, in order, and returns
    // how many there are.
    uint32_t move(MAC_Particle3* const* particles, const uint32_t& count, uint32_t* landed, uint32_t* rest,
                  double& minSpeed2, double& maxSpeed2) const;

private:
    LatticeShape shape;
    const CellSample* samples;
    bool active;
};

}  // namespace kelvar::fluid
