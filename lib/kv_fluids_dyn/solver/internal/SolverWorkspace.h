#pragma once

#include "kv_fluids_dyn/solver/internal/AdvectionPass.h"
#include "kv_fluids_dyn/solver/internal/CellListsPass.h"
#include "kv_fluids_dyn/solver/internal/InterfacePass.h"
#include "kv_fluids_dyn/solver/internal/RelabelPass.h"
#include "kv_fluids_dyn/solver/internal/SolverRandom.h"
#include "kv_fluids_dyn/solver/internal/StreamPass.h"

namespace kelvar::fluid {

// What a MAC_LBM_Solver3 keeps between sub-steps besides its fluids: the
// passes with their per-worker scratch, which they reuse so that after the
// first sub-steps no pass allocates, and the generator of the re-seeding
// offsets. A copy of a solver starts with a fresh workspace.
struct SolverWorkspace {
    CellListsPass cellLists;
    StreamPass stream;
    InterfacePass interface;
    AdvectionPass advection;
    RelabelPass relabel;
    DistributePass distribute;
    SolverRand random;
};

}  // namespace kelvar::fluid
