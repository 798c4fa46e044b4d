#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// The momentum the liquid hands the obstacles in one sub-step, by the
// momentum-exchange rule: along every link from a liquid cell into an
// obstacle cell, the distribution heading there bounces back, so the
// obstacle takes twice its momentum. Runs after the collision, on the
// post-collision distributions, and adds each mesh's share to the fluid
// (MAC_LBM_Fluid3::addExchangedMomentum). It changes no cell.
//
// Input: the wall cells of the sub-step (the liquid cells with a solid
// neighbour, StreamPass::wallCells()), visited in list order so that the
// sums do not depend on the thread count.
void exchangeObstacleMomentum(MAC_LBM_Fluid3& fluid, const LiquidCells& wallCells);

}  // namespace kelvar::fluid
