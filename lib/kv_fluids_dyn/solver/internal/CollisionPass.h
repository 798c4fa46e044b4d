#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_SolverContext3.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// Collision of the liquid cells: the velocity limiter, the relaxation with
// the context's lattice viscosity, then the cell's density and velocity,
// which the advection and relabelling read. Cells do not interact, so each
// worker takes its cells four at a time through the four-lane collision,
// which leaves every cell as its own collision() would.
//
// Input: the liquid list and the context's viscosity and speed limit.
// Output: the relaxed cells with current density and velocity.
void collideLiquidCells(LiquidCells& liquid, const MAC_LBM_SolverContext3& context, const unsigned int& threads);

}  // namespace kelvar::fluid
