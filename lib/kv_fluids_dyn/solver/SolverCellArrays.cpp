// Per-step cell lists, flag clearing and density sums of the free-surface
// solver: the passes that look at the whole grid rather than a list.

#include <algorithm>
#include <cfloat>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

namespace {

// The per-step flags that relabelling sets again every sub-step.
constexpr unsigned short kDynamicLiquidFlags = MAC_FLAG_NEW_INTERFACE | MAC_FLAG_HAS_PARTICLE |
                                               MAC_FLAG_NEAR_INTERFACE | MAC_FLAG_NEIGHBOUR_MARK | MAC_FLAG_SKY |
                                               MAC_FLAG_BIT9;
constexpr unsigned short kSolidDynamicFlag = 0x0002;
// Bit 0 of a sink cell: covered by its sink's latest placement.
constexpr unsigned short kSinkMark = 0x0001;

// Appends the per-worker lists in thread order.
template <class List, class Member>
void mergeInThreadOrder(List& out, const SolverThreadScratch* scratch, uint32_t workers, Member member) {
    uint32_t total = 0;
    for (uint32_t t = 0; t < workers; ++t) total += (scratch[t].*member).size();
    out.clear();
    out.reserve(total);
    for (uint32_t t = 0; t < workers; ++t)
        for (const auto& element : scratch[t].*member) out.push_back(element);
}

}  // namespace

void MAC_LBM_Solver3::updateCellArrays(MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threads);
    const uint32_t workers = std::max(threads, 1u);
    for (uint32_t t = 0; t < workers; ++t) {
        perThread[t].cells.clear();
        perThread[t].otherCells.clear();
        perThread[t].solidCells.clear();
        perThread[t].sinkCells.clear();
    }

    // Contiguous index ranges in thread order: the merged lists keep grid order.
    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runParallelIndices(
        fluid.getGrid().getCount(),
        [&](const unsigned int& t, uint32_t index) {
            LBM_Cell3<float>* cell = cells[index];
            if (cell == nullptr) return;
            SolverThreadScratch& mine = perThread[t];
            switch (cell->getType()) {
                case LBM_CELL_SOLID:
                    mine.solidCells.push_back(static_cast<LBM_SolidCell3<float>*>(cell));
                    break;
                case LBM_CELL_SINK:
                    mine.sinkCells.push_back(static_cast<LBM_SinkCell3<float>*>(cell));
                    break;
                case LBM_CELL_INTERFACE:
                    mine.otherCells.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
                    [[fallthrough]];
                case LBM_CELL_FLUID:
                    mine.cells.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(cell));
                    break;
                default:
                    break;
            }
        },
        threads);

    mergeInThreadOrder(fluid.refArrLiquidCells(), perThread, workers, &SolverThreadScratch::cells);
    mergeInThreadOrder(fluid.refArrInterfaceCells(), perThread, workers, &SolverThreadScratch::otherCells);
    mergeInThreadOrder(fluid.refArrSolidCells(), perThread, workers, &SolverThreadScratch::solidCells);
    mergeInThreadOrder(fluid.refArrSinkCells(), perThread, workers, &SolverThreadScratch::sinkCells);
}

void MAC_LBM_Solver3::updateSolidCellArray(MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threads);
    const uint32_t workers = std::max(threads, 1u);
    for (uint32_t t = 0; t < workers; ++t) perThread[t].solidCells.clear();

    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runParallelIndices(
        fluid.getGrid().getCount(),
        [&](const unsigned int& t, uint32_t index) {
            LBM_Cell3<float>* cell = cells[index];
            if (cell != nullptr && cell->isSolid())
                perThread[t].solidCells.push_back(static_cast<LBM_SolidCell3<float>*>(cell));
        },
        threads);
    mergeInThreadOrder(fluid.refArrSolidCells(), perThread, workers, &SolverThreadScratch::solidCells);
}

void MAC_LBM_Solver3::clearDynamicFlags(MAC_LBM_Fluid3& fluid) {
    runParallel(
        fluid.refArrLiquidCells(),
        [](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) { cell->refFlags().clear(kDynamicLiquidFlags); }, threads);
    runParallel(
        fluid.refArrSolidCells(),
        [](const unsigned int&, LBM_SolidCell3<float>* cell) {
            cell->setFlags(static_cast<unsigned short>(cell->getFlags() & ~kSolidDynamicFlag));
        },
        threads);
    // A sink that the next placement of its mesh does not mark again is swept.
    runParallel(
        fluid.refArrSinkCells(),
        [](const unsigned int&, LBM_SinkCell3<float>* cell) {
            cell->setFlags(static_cast<unsigned short>(cell->getFlags() & ~kSinkMark));
        },
        threads);
}

Tuple2<float, float> MAC_LBM_Solver3::computeRhoAndMass(MAC_LBM_Fluid3& fluid) {
    Tuple2<float, float> sums{0.0f, 0.0f};
    for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        const LBM_Q19_MAC_Cell3F* liquid = static_cast<const LBM_Q19_MAC_Cell3F*>(cell);
        sums.first += liquid->getDensity();
        sums.second += liquid->getMass();
    }
    return sums;
}

Tuple3<float> MAC_LBM_Solver3::computeRhoInfo(MAC_LBM_Fluid3& fluid) {
    Tuple3<float> info{0.0f, FLT_MAX, -FLT_MAX};
    for (const LBM_Cell3<float>* cell : fluid.getGrid().getCells()) {
        if (cell == nullptr || !cell->isFluid()) continue;
        const float& density = static_cast<const LBM_Q19_MAC_Cell3F*>(cell)->getDensity();
        info.first += density;
        if (density < info.second) info.second = density;
        if (density > info.third) info.third = density;
    }
    return info;
}

}  // namespace kelvar::fluid
