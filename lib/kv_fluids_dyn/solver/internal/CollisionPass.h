#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_SolverContext3.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// Collision of the liquid cells: the velocity limiter, the relaxation with
// the context's lattice viscosity, then the cell's density and velocity,
// which the advection and relabelling read. Cells do not interact, so each
// worker takes its cells eight at a time (AVX2) or four at a time (SSE)
// through lanes which leave every cell as its own calls would.
//
// Input: the liquid list and the context's viscosity and speed limit.
// Output: the relaxed cells with current density and velocity.
void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads);

// The widest group the collision takes here: eight cells with AVX2, else four.
unsigned int widestCollisionLanes();

// The same pass with groups of `lanes` cells: 4, or 8 where
// widestCollisionLanes() allows it. Every width gives the same bits.
void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads,
                        const unsigned int& lanes);

}  // namespace kelvar::fluid
