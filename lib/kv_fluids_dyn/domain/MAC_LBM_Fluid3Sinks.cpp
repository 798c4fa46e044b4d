// Drains: MAC_LBM_Fluid3::setSinkCells places the sink cells a mesh covers
// and removes those of the same mesh it no longer covers.

#include <algorithm>

#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"

namespace kelvar::fluid {

namespace {

constexpr unsigned short kSinkMark = LBM_SinkCell3<float>::kPlacementMark;
constexpr uint32_t kNeighbourCount = q19::kDirectionCount - 1;

}  // namespace

void MAC_LBM_Fluid3::setSinkCells(const Mesh& mesh, const bool& inside) {
    Mesh gridMesh;
    detail::meshFromWorldToGrid(mesh, xformGridToWorld, grid, gridMesh);
    if (!gridMesh.isBoxValid()) return;
    // Cells inside the mesh lie within its box; cells outside it anywhere
    // in the grid.
    const Array<Box3<float>> regions{inside ? gridMesh.getBox() : grid.getBox()};
    Array<Box3BoxesBits<float>> chunks;
    if (!detail::rasterizeSolidMesh(gridMesh, grid, regions, threads, chunks)) return;

    markSinkCells(chunks, inside, mesh.getId());
    sweepSinkCells(mesh.getId());
    dirtyFlags.set(VOF_DIRTY);
}

// Every sample box is one grid cell and no two samples share a cell, so the
// workers write disjoint grid entries; the pools are shared and locked.
void MAC_LBM_Fluid3::markSinkCells(const Array<Box3BoxesBits<float>>& chunks, const bool& inside,
                                   const unsigned int& sinkId) {
    runParallel(
        chunks,
        [&](const unsigned int&, const Box3BoxesBits<float>& chunk) {
            const uint32_t samples = chunk.sampleCount();
            for (uint32_t n = 0; n < samples; ++n) {
                if (chunk.isInside(n) != inside) continue;
                Tuple3<unsigned int> ijk;
                if (!detail::sampleBoxCell(grid, chunk.getSampleBox(n), ijk)) continue;
                const unsigned int index = grid.index(ijk.first, ijk.second, ijk.third);
                LBM_Cell3<float>*& entry = grid.refCells()[index];
                if (entry != nullptr && entry->isSink()) {
                    auto* sink = static_cast<LBM_SinkCell3<float>*>(entry);
                    if (sink->getSinkId() == sinkId) sink->setFlags(sink->getFlags() | kSinkMark);
                    continue;
                }
                // Walls, empty and unclassified cells stay.
                if (entry != nullptr && !entry->isFluid()) continue;
                if (entry != nullptr) releaseLiquidCellLocked(static_cast<LBM_Q19_MAC_Cell3F*>(entry));
                LBM_SinkCell3<float>* sink = acquireSinkCell();
                sink->setGridMonoindex(index);
                sink->setSinkId(sinkId);
                sink->setFlags(kSinkMark);
                entry = sink;
            }
        },
        threads);
}

// The drains are released in parallel, each worker clearing its own grid
// entries. Their fluid neighbours turn into interface cells afterwards on
// this thread: two emptied drains can share a neighbour, and converting in
// the pass would have two workers write one cell.
void MAC_LBM_Fluid3::sweepSinkCells(const unsigned int& sinkId) {
    const unsigned int workers = std::max(threads, 1u);
    Array<Array<unsigned int>> emptied(workers);
    Array<LBM_Cell3<float>*>& cells = grid.refCells();
    runParallelIndices(
        grid.getCount(),
        [&](const unsigned int& t, const uint32_t& n) {
            LBM_Cell3<float>* cell = cells[n];
            if (cell == nullptr || !cell->isSink()) return;
            auto* sink = static_cast<LBM_SinkCell3<float>*>(cell);
            if (sink->getSinkId() != sinkId || (sink->getFlags() & kSinkMark) != 0) return;
            releaseSinkCell(sink);
            cells[n] = nullptr;
            emptied[t].push_back(n);
        },
        threads);

    NeighborArray neighbours(kNeighbourCount);
    for (const Array<unsigned int>& list : emptied) {
        for (const unsigned int& n : list) {
            getNeighborCells(n, grid, neighbours);
            for (LBM_Cell3<float>* neighbour : neighbours)
                if (neighbour != nullptr && neighbour->getType() == LBM_CELL_FLUID) neighbour->setType(LBM_CELL_INTERFACE);
        }
    }
}

void MAC_LBM_Fluid3::releaseLiquidCellLocked(LBM_Q19_MAC_Cell3F* cell) {
    liquidPoolMutex.lock();
    cell->setType(LBM_CELL_NONE);
    liquidPool.release(cell);
    liquidPoolMutex.unlock();
}

}  // namespace kelvar::fluid
