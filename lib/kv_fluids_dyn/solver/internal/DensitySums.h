#pragma once

#include <cstdint>

#include "kv_basic/Array.h"
#include "kv_basic/Tuple.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// The liquid density sums of the sub-step's bookkeeping. Each adds floats
// one at a time in grid order, so the same cells give the same bits however
// the sum is reached.

// The listed cells' densities as the relabelling leaves them, in list
// order, 0 for the cells it emptied, with their grid indices; the
// relabelling writes them while it visits the listed cells anyway.
struct ListedDensities {
    Array<float> density;
    Array<uint32_t> gridIndex;
};

// The sum over the liquid cells after the relabelling, without a walk over
// the grid: those are the step's liquid list (grid order) less the emptied
// cells, plus the cells the relabelling created (grid order too); merged by
// grid index, the same cells are summed in the same order as a walk over the
// grid would. An emptied cell adds +0, which leaves the sum as it was: the
// sum starts at +0 and so never becomes -0, the one value +0 would change.
float liquidDensitySumAfterRelabel(const ListedDensities& listed, const LiquidCells& created);

// Density and mass sums over the grid's liquid cells, in grid order.
Tuple2<float, float> gridDensityAndMass(const SolverGrid& grid);

// Density sum, smallest and largest density over the grid's liquid cells.
Tuple3<float> gridDensityRange(const SolverGrid& grid);

}  // namespace kelvar::fluid
