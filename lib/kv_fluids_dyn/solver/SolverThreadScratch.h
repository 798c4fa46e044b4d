#pragma once

#include "kv_basic/Array.h"
#include "kv_basic/ArrayOfPtr.h"
#include "kv_fluids_dyn/lattice/LBM_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"
#include "kv_fluids_dyn/lattice/LBM_SinkCell3.h"
#include "kv_fluids_dyn/lattice/LBM_SolidCell3.h"
#include "kv_fluids_dyn/particles/MAC_Particle3.h"

namespace kelvar::fluid {

// What one worker thread of the free-surface solver writes during a pass:
// its neighbour lists and its result lists. The solver keeps one record per
// worker, indexed by the worker's thread index, and reuses it in every pass
// of every sub-step: passes clear the lists they use, never free them, so
// after the first sub-steps no pass allocates. Result lists are merged in
// thread order after the pass, which keeps the order of the pass's input.
// Records are cache-line aligned so that workers do not share a line.
struct alignas(64) SolverThreadScratch {
    SolverThreadScratch() : neighbours(q19::kDirectionCount), movingNeighbours(q19::kDirectionCount - 1) {}

    // The 19 neighbours of a cell by D3Q19 direction (entry 0 the cell's
    // own slot), and the 18 moving ones (entry m = direction m + 1).
    ArrayOfPtr<LBM_Cell3<float>, KV_NO> neighbours;
    ArrayOfPtr<LBM_Cell3<float>, KV_NO> movingNeighbours;

    // Per-pass result lists.
    ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO> cells;
    ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO> otherCells;
    ArrayOfPtr<LBM_SolidCell3<float>, KV_NO> solidCells;
    ArrayOfPtr<LBM_SinkCell3<float>, KV_NO> sinkCells;
    Array<unsigned int> gridIndices;
    Array<unsigned int> particleIds;
    ArrayOfPtr<MAC_Particle3, KV_NO> particles;

    // Speed range of the particles this worker advected.
    float minSpeed = 0.0f;
    float maxSpeed = 0.0f;
};

}  // namespace kelvar::fluid
