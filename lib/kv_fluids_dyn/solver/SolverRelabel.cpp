// Relabelling of the free-surface solver: a cell is liquid while a marker
// particle lies in it. label() runs its steps in this order:
//   1. clear the per-step flags;
//   2-4. bin the particles into cells: liquid cells with a particle are
//      flagged, particles in sinks are deleted, empty sites that hold a
//      particle are recorded;
//   5. create an interface cell at each recorded site, initialised from its
//      liquid neighbours;
//   6-7. empty the liquid cells without a particle and turn their full
//      neighbours into interface cells;
//   8. turn the full neighbours of sinks into interface cells;
//   9. fill the surface cells whose neighbourhood is complete, and flag the
//      ones with no interface cell above them;
//   10-11. flag full cells next to interface cells and next to solids.
// Steps 9 and 10 work on the surface cells: the new cells, the interface
// cells of the sub-step's list (emptied ones are skipped by their type) and
// the cells converted in steps 7 and 8. Taking every interface cell, not only
// the ones that changed, lets a surface cell whose missing neighbours have
// appeared become full, and keeps the surface flags true for the whole
// surface.

#include <algorithm>
#include <atomic>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"
#include "kv_fluids_dyn/solver/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/MAC_LBM_Solver3.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/VelocitySampler.h"

namespace kelvar::fluid {

namespace {

using Cells = ArrayOfPtr<LBM_Q19_MAC_Cell3F, KV_NO>;

// Sets one flag bit of a cell that other workers may flag at the same time.
inline void setFlagShared(LBM_Cell3<float>* cell, unsigned short bit) {
    static_assert(sizeof(LBM_MAC_Cell3FlagWord) == sizeof(unsigned short));
    auto& word = reinterpret_cast<unsigned short&>(static_cast<LBM_Q19_MAC_Cell3F*>(cell)->refFlags());
    std::atomic_ref<unsigned short> flags(word);
    if ((flags.load(std::memory_order_relaxed) & bit) == 0) flags.fetch_or(bit, std::memory_order_relaxed);
}

inline bool isFull(const LBM_Cell3<float>* cell) {
    return cell != nullptr && cell->getType() == LBM_CELL_FLUID;
}

void clearLists(SolverThreadScratch* perThread, uint32_t workers) {
    for (uint32_t t = 0; t < workers; ++t) {
        perThread[t].cells.clear();
        perThread[t].otherCells.clear();
        perThread[t].gridIndices.clear();
        perThread[t].particleIds.clear();
    }
}

// Turns the recorded full cells that are still full into interface cells,
// in thread order, and appends them to `surface`.
void convertToInterface(SolverThreadScratch* perThread, uint32_t workers, Cells& surface) {
    for (uint32_t t = 0; t < workers; ++t)
        for (LBM_Q19_MAC_Cell3F* cell : perThread[t].otherCells) {
            if (cell->getType() != LBM_CELL_FLUID) continue;
            cell->setType(LBM_CELL_INTERFACE);
            surface.push_back(cell);
        }
}

// The body force of the first liquid neighbour, so that a uniform force
// such as gravity carries over to new cells exactly; zero without one.
Vector3<float> neighbourForce(const MAC_LBM_Fluid3::NeighborArray& neighbours) {
    for (const LBM_Cell3<float>* n : neighbours)
        if (n != nullptr && n->isFluid()) return static_cast<const LBM_Q19_MAC_Cell3F*>(n)->getForce();
    return Vector3<float>();
}

}  // namespace

void MAC_LBM_Solver3::label(const unsigned int& threadCount, MAC_LBM_SolverContext3&, MAC_LBM_Fluid3& fluid) {
    clearDynamicFlags(fluid);
    binParticles(threadCount, fluid);
    createCellsForParticles(threadCount, fluid);
    surfaceCells.clear();
    for (LBM_Q19_MAC_Cell3F* cell : newCells) surfaceCells.push_back(cell);
    for (LBM_Q19_MAC_Cell3F* cell : fluid.getArrInterfaceCells()) surfaceCells.push_back(cell);
    emptyCellsWithoutParticles(threadCount, fluid);
    convertSinkNeighbours(threadCount, fluid);
    fillSurroundedCells(threadCount, fluid);
    markFluidNeighbours(threadCount, fluid);
}

void MAC_LBM_Solver3::getNeighborCells(const MAC_LBM_Fluid3& fluid, const Tuple3<unsigned int>& ijk,
                                       NeighborArray& out) const {
    fluid.getNeighborCells(ijk, fluid.getGrid(), out);
}

void MAC_LBM_Solver3::getNeighborCells(const MAC_LBM_Fluid3& fluid, const unsigned int& i, const unsigned int& j,
                                       const unsigned int& k, NeighborArray& out) const {
    fluid.getNeighborCells(i, j, k, fluid.getGrid(), out);
}

void MAC_LBM_Solver3::binParticles(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const uint32_t workers = std::max(threadCount, 1u);
    clearLists(perThread, workers);
    mergedIndices.clear();

    MAC_ParticleSystem3& particles = fluid.ref_MAC_ParticleSystem();
    if (particles.getParticlesCount() == 0) return;
    const VelocitySampler lookup(fluid.getGrid());
    LBM_Cell3<float>* const* const cells = fluid.getGrid().getCells().data();
    runParallel(
        particles.getParticlesArray(),
        [&](const unsigned int& t, MAC_Particle3* particle) {
            // The cell as Grid3::locate finds it; a particle outside the grid
            // neither creates a cell nor goes away.
            uint32_t index;
            if (!lookup.indexAtOffset(lookup.offsetOf(particle->position), index)) return;
            LBM_Cell3<float>* cell = cells[index];
            if (cell == nullptr)
                perThread[t].gridIndices.push_back(index);
            else if (cell->isSink())
                perThread[t].particleIds.push_back(particle->id);
            else if (cell->isFluid())
                setFlagShared(cell, MAC_FLAG_HAS_PARTICLE);
        },
        threadCount);

    mergedIds.clear();
    for (uint32_t t = 0; t < workers; ++t)
        for (const unsigned int id : perThread[t].particleIds) mergedIds.push_back(id);
    if (!mergedIds.empty()) particles.remove(mergedIds);

    // Several particles may share a site: one cell per site, in grid order.
    for (uint32_t t = 0; t < workers; ++t)
        for (const unsigned int index : perThread[t].gridIndices) mergedIndices.push_back(index);
    std::sort(mergedIndices.begin(), mergedIndices.end());
    mergedIndices.resize(uint32_t(std::unique(mergedIndices.begin(), mergedIndices.end()) - mergedIndices.begin()));
}

void MAC_LBM_Solver3::createCellsForParticles(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const GridNeighbourhood grid(fluid.getGrid());
    newCells.resize(mergedIndices.size());

    // Which pooled cell a site gets depends on thread timing; every field is
    // set here, so nothing of the cell's previous use survives.
    runParallelIndices(
        mergedIndices.size(),
        [&](const unsigned int& t, uint32_t n) {
            const unsigned int index = mergedIndices[n];
            LBM_Q19_MAC_Cell3F* cell = fluid.acquireLiquidCell();
            uint32_t x, y, z;
            grid.decode(index, x, y, z);
            auto& neighbours = perThread[t].movingNeighbours;
            getNeighborCells(fluid, x, y, z, neighbours);
            float density = 0.0f;
            Vector3<float> velocity;
            cell->interpolateCellValues(neighbours, density, velocity);

            cell->initialize();
            cell->setDensity(density);
            cell->setInitialVelocity(velocity);
            cell->setForce(neighbourForce(neighbours));
            cell->setMass(0.0f);
            cell->setEpsilon(0.0f);
            cell->setFlags(LBM_MAC_Cell3FlagWord(MAC_FLAG_NEW_INTERFACE | MAC_FLAG_HAS_PARTICLE));
            cell->refArrReconstructBit().clearAll();
            cell->setGridMonoindex(index);
            newCells[n] = cell;
        },
        threadCount);

    auto& cells = fluid.refGrid();
    for (LBM_Q19_MAC_Cell3F* cell : newCells) {
        cell->setType(LBM_CELL_INTERFACE);
        cells.at(cell->getGridMonoindex()) = cell;
    }
}

void MAC_LBM_Solver3::emptyCellsWithoutParticles(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const uint32_t workers = std::max(threadCount, 1u);
    clearLists(perThread, workers);
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        fluid.refArrLiquidCells(),
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            if (cell->getFlags().test(MAC_FLAG_HAS_PARTICLE)) return;
            SolverThreadScratch& mine = perThread[t];
            mine.cells.push_back(cell);
            grid.gather(cell->getGridMonoindex(), mine.neighbours.data());
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (isFull(mine.neighbours[i]))
                    mine.otherCells.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(mine.neighbours[i]));
        },
        threadCount);

    // releaseCell gives the cell the type NONE and returns it to the pool,
    // which rewinds when its last cell comes back.
    auto& cells = fluid.refGrid();
    for (uint32_t t = 0; t < workers; ++t)
        for (LBM_Q19_MAC_Cell3F* cell : perThread[t].cells) {
            cells.at(cell->getGridMonoindex()) = nullptr;
            fluid.releaseCell(cell);
        }
    convertToInterface(perThread, workers, surfaceCells);
}

void MAC_LBM_Solver3::convertSinkNeighbours(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const uint32_t workers = std::max(threadCount, 1u);
    clearLists(perThread, workers);
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        fluid.refArrSinkCells(),
        [&](const unsigned int& t, LBM_SinkCell3<float>* sink) {
            SolverThreadScratch& mine = perThread[t];
            grid.gather(sink->getGridMonoindex(), mine.neighbours.data());
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (isFull(mine.neighbours[i]))
                    mine.otherCells.push_back(static_cast<LBM_Q19_MAC_Cell3F*>(mine.neighbours[i]));
        },
        threadCount);
    convertToInterface(perThread, workers, surfaceCells);
}

void MAC_LBM_Solver3::fillSurroundedCells(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const uint32_t workers = std::max(threadCount, 1u);
    clearLists(perThread, workers);
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        surfaceCells,
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            if (!cell->isFluid()) return;
            uint32_t x, y, z;
            grid.decode(cell->getGridMonoindex(), x, y, z);
            bool interfaceAbove = false;
            for (uint32_t above = y + 1; above < grid.getNy() && !interfaceAbove; ++above) {
                const LBM_Cell3<float>* c = grid.at(x, above, z);
                interfaceAbove = c != nullptr && c->isInterface();
            }
            if (!interfaceAbove) cell->refFlags().set(MAC_FLAG_SKY);

            SolverThreadScratch& mine = perThread[t];
            grid.gather(cell->getGridMonoindex(), mine.neighbours.data());
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i) {
                const LBM_Cell3<float>* n = mine.neighbours[i];
                if (n == nullptr || n->isSink()) return;
            }
            mine.cells.push_back(cell);
        },
        threadCount);

    for (uint32_t t = 0; t < workers; ++t)
        for (LBM_Q19_MAC_Cell3F* cell : perThread[t].cells) {
            cell->setType(LBM_CELL_FLUID);
            cell->setMass(cell->getDensity());
            cell->setEpsilon(1.0f);
        }
}

void MAC_LBM_Solver3::markFluidNeighbours(const unsigned int& threadCount, MAC_LBM_Fluid3& fluid) {
    SolverThreadScratch* const perThread = scratchFor(threadCount);
    const GridNeighbourhood grid(fluid.getGrid());
    // Two workers may flag the same neighbour; the bit is set atomically.
    runParallel(
        surfaceCells,
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            if (!cell->isInterface()) return;
            auto& neighbours = perThread[t].neighbours;
            grid.gather(cell->getGridMonoindex(), neighbours.data());
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (isFull(neighbours[i])) setFlagShared(neighbours[i], MAC_FLAG_NEAR_INTERFACE);
        },
        threadCount);
    if (wallCellsCurrent) {
        // The same flags from the liquid side: a full cell has a solid among
        // its neighbours exactly when it is among that solid's neighbours.
        // A full cell now is either a cell of the step's liquid list, which
        // is in wallCells when it has a solid neighbour (solids have not
        // changed since streaming), or a cell created from particles in
        // this relabelling.
        runParallel(
            wallCells,
            [&](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) {
                if (isFull(cell)) setFlagShared(cell, MAC_FLAG_NEIGHBOUR_MARK);
            },
            threadCount);
        runParallel(
            newCells,
            [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
                if (!isFull(cell)) return;
                auto& neighbours = perThread[t].neighbours;
                grid.gather(cell->getGridMonoindex(), neighbours.data());
                for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                    if (neighbours[i] != nullptr && neighbours[i]->isSolid()) {
                        setFlagShared(cell, MAC_FLAG_NEIGHBOUR_MARK);
                        return;
                    }
            },
            threadCount);
        return;
    }
    runParallel(
        fluid.refArrSolidCells(),
        [&](const unsigned int& t, LBM_SolidCell3<float>* solid) {
            auto& neighbours = perThread[t].neighbours;
            grid.gather(solid->getGridMonoindex(), neighbours.data());
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (isFull(neighbours[i])) setFlagShared(neighbours[i], MAC_FLAG_NEIGHBOUR_MARK);
        },
        threadCount);
}

}  // namespace kelvar::fluid
