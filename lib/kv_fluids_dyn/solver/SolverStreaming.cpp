// Streaming and collision of the free-surface solver: threaded passes over
// the liquid-cell list.

#include <algorithm>
#include <cmath>

#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/lattice/internal/LBM_Q19_SparseMoment.h"
#include "kv_fluids_dyn/solver/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/SpeedLimit.h"

namespace kelvar::fluid {

namespace {

// First moment of the cell's slots as they stand.
Vector3<float> firstMoment(const LBM_Q19_MAC_Cell3F& cell) {
    // The slots are one array, and getPdfAt hands out references into it;
    // read it directly when both ends say so, instead of 19 virtual calls.
    const float* const f = &cell.getPdfAt(0);
    if (&cell.getPdfAt(q19::kDirectionCount - 1) == f + (q19::kDirectionCount - 1)) {
        // The sum of the slots is finite only when every slot is.
        float sum = 0.0f;
        for (unsigned int i = 0; i < q19::kDirectionCount; ++i) sum += f[i];
        if (sum - sum == 0.0f) return q19::sparseFirstMoment(f);
    }
    Vector3<float> j;
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) j += q19::kVelocity[i] * cell.getPdfAt(i);
    return j;
}

}  // namespace

bool limitCellSpeed(LBM_Q19_MAC_Cell3F& cell, const float& maxSpeed, const float& maxSpeed2) {
    const Vector3<float> j = firstMoment(cell);
    const float jj = j.dot(j);
    if (!(jj > maxSpeed2)) return false;

    const float scale = static_cast<float>(static_cast<double>(maxSpeed) / std::sqrt(static_cast<double>(jj)));
    const Vector3<float> u = j * scale;
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) cell.setPdfAt(i, cell.calcFeq(i, 1.0f, u));
    return true;
}

void MAC_LBM_Solver3::stream(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const GridNeighbourhood grid(fluid.getGrid());

    // Swap pass: each link is swapped by exactly one cell, so the pass is
    // free of conflicts between cells. It also lists the cells next to a
    // solid: the wall pass changes no other cell.
    const uint32_t workers = std::max(threadCount, 1u);
    for (uint32_t t = 0; t < workers; ++t) perThread[t].otherCells.clear();
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            SolverThreadScratch& mine = perThread[t];
            LBM_Cell3<float>* const* const neighbours = mine.neighbours.data();
            grid.gather(cell->getGridMonoindex(), mine.neighbours.data());
            cell->streamPassFluid(mine.neighbours);
            bool wall = false;
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                wall = wall || (neighbours[i] != nullptr && neighbours[i]->isSolid());
            if (wall) mine.otherCells.push_back(cell);
        },
        threadCount);
    wallCells.clear();
    for (uint32_t t = 0; t < workers; ++t)
        for (LBM_Q19_MAC_Cell3F* cell : perThread[t].otherCells) wallCells.push_back(cell);

    // Wall pass: reads slots that the swap pass of neighbours wrote.
    runParallel(
        wallCells,
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            auto& neighbours = perThread[t].neighbours;
            grid.gather(cell->getGridMonoindex(), neighbours.data());
            cell->streamPassSolid(neighbours);
        },
        threadCount);
}

// Cells do not interact here, so each worker takes its cells four at a time
// through the four-lane collision, which leaves every cell as its own
// collision() call would; the last few of a range go one by one.
void MAC_LBM_Solver3::collision(const unsigned int& threadCount, const MAC_LBM_SolverContext3& context,
                                MAC_LBM_Fluid3& fluid) {
    const float maxSpeed = context.getLatticeMaxSpeed();
    const float maxSpeed2 = context.getLatticeMaxSpeed2();
    const float viscosity = context.getLatticeViscosity();
    constexpr uint32_t kLanes = 4;
    LBM_Q19_MAC_Cell3F* const* const cells = fluid.refArrLiquidCells().data();
    runParallelRanges(
        fluid.refArrLiquidCells().size(),
        [&](const WorkRange& range) {
            const uint32_t end = range.first + range.count;
            uint32_t n = range.first;
            for (; n + kLanes <= end; n += kLanes) {
                LBM_Q19_Cell3<float>* const group[kLanes] = {cells[n], cells[n + 1], cells[n + 2], cells[n + 3]};
                for (LBM_Q19_MAC_Cell3F* cell : {cells[n], cells[n + 1], cells[n + 2], cells[n + 3]})
                    limitCellSpeed(*cell, maxSpeed, maxSpeed2);
                LBM_Q19_Cell3<float>::collision4(group, viscosity);
                for (LBM_Q19_Cell3<float>* cell : group) {
                    cell->updateDensity();
                    cell->updateVelocity();
                }
            }
            for (; n < end; ++n) {
                limitCellSpeed(*cells[n], maxSpeed, maxSpeed2);
                cells[n]->collision(viscosity);
                cells[n]->updateDensity();
                cells[n]->updateVelocity();
            }
        },
        threadCount);
}

}  // namespace kelvar::fluid
