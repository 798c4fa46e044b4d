#pragma once

#include "kv_basic/ArrayOfPtr.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"

namespace kelvar::fluid {

// The lists the solver's passes hand each other, and the neighbour arrays
// they gather into.
using LiquidCells = ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO>;
using SolidCells = ArrayOfPtr<LBM_SolidCell3<float>, KV_NO>;
using SinkCells = ArrayOfPtr<LBM_SinkCell3<float>, KV_NO>;
using SolverGrid = MAC_LBM_Fluid3::GridType;

// The 19 neighbours of a cell by D3Q19 direction, entry 0 its own slot.
struct AllNeighbours : LBM_Q19_MAC_Cell3F::Neighbours {
    AllNeighbours() : LBM_Q19_MAC_Cell3F::Neighbours(q19::kDirectionCount) {}
};

// The 18 moving neighbours: entry m is direction m + 1.
struct MovingNeighbours : LBM_Q19_MAC_Cell3F::Neighbours {
    MovingNeighbours() : LBM_Q19_MAC_Cell3F::Neighbours(q19::kDirectionCount - 1) {}
};

}  // namespace kelvar::fluid
