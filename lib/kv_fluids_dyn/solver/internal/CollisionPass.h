#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_SolverContext3.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid {

// Collision of the liquid cells: the velocity limiter, the relaxation with
// the context's lattice viscosity, then the cell's density and velocity,
// which the advection and relabelling read. Cells do not interact, so each
// worker takes its cells eight at a time (AVX2) or four at a time (SSE)
// through lanes which leave every cell as its own calls would.
//
// Input: the liquid list and the context's viscosity and speed limit, and
// optionally a dense array of samples with one entry per grid position.
// Output: the relaxed cells with current density and velocity and, when
// given `samples`, each cell's new velocity and type in its position's
// sample, written while the cell is still in cache (the particle advection
// reads them there).
void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads,
                        CellSample* samples = nullptr);

// Copies a collided cell's velocity and type into its position's sample,
// when the pass has samples to write.
inline void writeSample(const LBM_Q19_MAC_Cell3F& cell, CellSample* samples) {
    if (samples == nullptr) return;
    CellSample& sample = samples[cell.getGridMonoindex()];
    sample.velocity = cell.getVelocity();
    sample.type = cell.getType();
}

// The widest group the collision takes here: eight cells with AVX2, else four.
unsigned int widestCollisionLanes();

// The same pass with groups of `lanes` cells: 4, or 8 where
// widestCollisionLanes() allows it. Every width gives the same bits.
void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads,
                        const unsigned int& lanes, CellSample* samples = nullptr);

}  // namespace kelvar::fluid
