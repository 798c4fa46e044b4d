#pragma once

#include "kv_fluids_dyn/solver/internal/AdvectionPass.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/InterfacePass.h"
#include "kv_fluids_dyn/solver/internal/MassBalance.h"
#include "kv_fluids_dyn/solver/internal/RelabelPass.h"
#include "kv_fluids_dyn/solver/internal/StreamPass.h"

namespace kelvar::fluid {

// What a MAC_LBM_Solver3 keeps between sub-steps besides its fluids: the
// type codes of the grid's positions and the passes with their per-worker
// scratch, which they reuse so that after the first sub-steps no pass
// allocates. A copy of a solver starts with a fresh workspace. (The
// generator of the re-seeding offsets lives in each fluid's context.)
struct SolverWorkspace {
    GridTypes types;
    CellListsPass cellLists;
    StreamPass stream;
    InterfacePass interface;
    AdvectionPass advection;
    RelabelPass relabel;
    DistributePass distribute;
    KeptMassExchangePass keptExchange;
    MassHandBackPass handBack;
    LiquidMassSum massSum;
};

}  // namespace kelvar::fluid
