#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// The momentum the liquid hands the obstacles in one sub-step, by the
// momentum-exchange rule: along every link from a liquid cell into an
// obstacle cell, the distribution heading there bounces back (less the
// moving-wall term of a moving obstacle), so the obstacle takes the sum of
// both. Every link counts as a bounce-back, the diagonal ones that the
// wall streaming lets slide too. Runs after the collision, on the
// post-collision distributions, and adds each mesh's share to the fluid
// (MAC_LBM_Fluid3::addExchangedMomentum). It changes no cell.
//
// Input: the wall cells of the sub-step (the liquid cells with a solid
// neighbour, StreamPass::wallCells()), visited in list order so that the
// sums do not depend on the thread count.
void exchangeObstacleMomentum(MAC_LBM_Fluid3& fluid, const LiquidCells& wallCells);

}  // namespace kelvar::fluid
