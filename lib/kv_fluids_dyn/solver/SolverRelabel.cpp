#include "kv_fluids_dyn/solver/internal/RelabelPass.h"

#include <algorithm>
#include <atomic>

#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/parallel/RunParallel.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/internal/MassBalance.h"
#include "kv_fluids_dyn/solver/internal/OnePass.h"
#include "kv_fluids_dyn/solver/internal/VelocitySampler.h"

namespace kelvar::fluid {

namespace {

// The per-step flags that relabelling sets again every sub-step.
constexpr unsigned short kStepLiquidFlags = MAC_FLAG_NEW_INTERFACE | MAC_FLAG_HAS_PARTICLE | MAC_FLAG_NEAR_INTERFACE |
                                            MAC_FLAG_NEIGHBOUR_MARK | MAC_FLAG_SKY | MAC_FLAG_BIT9;

// The flag word of a cell that other workers may change at the same time.
inline std::atomic_ref<unsigned short> sharedFlags(LBM_Cell3<float>* cell) {
    static_assert(sizeof(LBM_MAC_Cell3FlagWord) == sizeof(unsigned short));
    return std::atomic_ref<unsigned short>(
        reinterpret_cast<unsigned short&>(static_cast<LBM_Q19_MAC_Cell3F*>(cell)->refFlags()));
}

// Sets one flag bit of a cell that other workers may flag at the same time.
inline void setFlagShared(LBM_Cell3<float>* cell, unsigned short bit) {
    std::atomic_ref<unsigned short> flags = sharedFlags(cell);
    if ((flags.load(std::memory_order_relaxed) & bit) == 0) flags.fetch_or(bit, std::memory_order_relaxed);
}

// Clears one flag bit of a cell that other workers may clear at the same time.
inline void clearFlagShared(LBM_Cell3<float>* cell, unsigned short bit) {
    std::atomic_ref<unsigned short> flags = sharedFlags(cell);
    if ((flags.load(std::memory_order_relaxed) & bit) != 0)
        flags.fetch_and(static_cast<unsigned short>(~bit), std::memory_order_relaxed);
}

void clearSolidStepMark(const unsigned int&, LBM_SolidCell3<float>* cell) {
    cell->setFlags(static_cast<unsigned short>(cell->getFlags() & ~LBM_SolidCell3<float>::kStepMark));
}

// A sink that the next placement of its mesh does not mark again is swept.
void clearSinkPlacementMark(const unsigned int&, LBM_SinkCell3<float>* cell) {
    cell->setFlags(static_cast<unsigned short>(cell->getFlags() & ~LBM_SinkCell3<float>::kPlacementMark));
}

inline bool isFull(const LBM_Cell3<float>* cell) {
    return cell != nullptr && cell->getType() == LBM_CELL_FLUID;
}

// The full cell in direction i of a position, given that position's
// neighbour codes, or null.
inline LBM_Q19_MAC_Cell3F* fullNeighbour(const GridNeighbourhood& grid, const uint32_t& index,
                                         const unsigned char (&codes)[q19::kDirectionCount], const unsigned int& i) {
    return codes[i] == LBM_CELL_FLUID ? static_cast<LBM_Q19_MAC_Cell3F*>(grid.neighbour(index, i)) : nullptr;
}

// The same for a full or interface cell.
inline LBM_Q19_MAC_Cell3F* liquidNeighbour(const GridNeighbourhood& grid, const uint32_t& index,
                                           const unsigned char (&codes)[q19::kDirectionCount], const unsigned int& i) {
    return codes[i] == LBM_CELL_FLUID || codes[i] == LBM_CELL_INTERFACE
               ? static_cast<LBM_Q19_MAC_Cell3F*>(grid.neighbour(index, i))
               : nullptr;
}

// The body force of the first liquid neighbour, so that a uniform force
// such as gravity carries over to new cells exactly; zero without one.
Vector3<float> neighbourForce(const MAC_LBM_Fluid3::NeighborArray& neighbours) {
    for (const LBM_Cell3<float>* n : neighbours)
        if (n != nullptr && n->isFluid()) return static_cast<const LBM_Q19_MAC_Cell3F*>(n)->getForce();
    return Vector3<float>();
}

}  // namespace

void RelabelPass::run(MAC_LBM_Fluid3& fluid, GridTypes& types, const LiquidCells& wallCells,
                      const MAC_LBM_Fluid3::SolverKey& key, const unsigned int& threads,
                      const ParticleLandings* landings) {
    conserving = fluid.getConserveMass();
    codes = types.data();
    clearWallAndSinkFlags(fluid, threads);
    binParticles(fluid, landings, threads);
    createCellsForParticles(fluid, key, threads);
    surfaceCells.clear();
    for (LBM_Q19_MAC_Cell3F* cell : newCells) surfaceCells.push_back(cell);
    for (LBM_Q19_MAC_Cell3F* cell : fluid.getArrInterfaceCells()) surfaceCells.push_back(cell);
    emptyCellsWithoutParticles(fluid, key, threads);
    convertSinkNeighbours(fluid, threads);
    fillSurroundedCells(fluid, threads);
    markFluidNeighbours(fluid, wallCells, threads);
}

void RelabelPass::clearStepFlags(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    const auto clearLiquid = [](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) {
        cell->refFlags().clear(kStepLiquidFlags);
    };
    runVisitsInOnePass(threads, visitList(fluid.refArrLiquidCells(), clearLiquid),
                       visitList(fluid.refArrSolidCells(), clearSolidStepMark),
                       visitList(fluid.refArrSinkCells(), clearSinkPlacementMark));
}

// The liquid cells' step flags are cleared where relabelling first touches
// them: the new-cell mark, the only one read before, on the liquid
// neighbours of the sites about to get a cell, and the rest in the emptying
// step's walk over the liquid list, which writes each cell's flags anyway.
void RelabelPass::clearWallAndSinkFlags(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    runVisitsInOnePass(threads, visitList(fluid.refArrSolidCells(), clearSolidStepMark),
                       visitList(fluid.refArrSinkCells(), clearSinkPlacementMark));
}

// Turns the recorded full cells that are still full into interface cells,
// in worker order, and appends them to the surface cells. A full cell's
// mass field is not kept up to date while it is full; when mass is
// conserved it starts its life as an interface cell with its density.
void RelabelPass::convertToInterface(const uint32_t& workers) {
    Scratch* const perThread = perWorker.forWorkers(workers);
    forEachInWorkerOrder(perThread, workers, &Scratch::toInterface, [this](LBM_Q19_MAC_Cell3F* cell) {
        if (cell->getType() != LBM_CELL_FLUID) return;
        if (conserving) cell->setMass(cell->getDensity());
        retype(cell, LBM_CELL_INTERFACE);
        surfaceCells.push_back(cell);
    });
}

// Each particle's cell comes from where the advection left it when it
// knows, else from the particle's position; its type from the type codes.
// A liquid cell with a particle is marked in `occupied`, a dense byte per
// position that stays in cache, rather than in the cell's flags: the cells
// lie scattered over memory, and the emptying step, which walks them in
// list order, sets the flag from the mark.
void RelabelPass::binParticles(MAC_LBM_Fluid3& fluid, const ParticleLandings* landings, const unsigned int& threads) {
    Scratch* const perThread = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) {
        perThread[t].sites.clear();
        perThread[t].sunkIds.clear();
    }
    sites.clear();
    occupied.resize(fluid.getGrid().getCount());
    std::fill(occupied.begin(), occupied.end(), static_cast<unsigned char>(0));

    MAC_ParticleSystem3& particles = fluid.ref_MAC_ParticleSystem();
    if (particles.getParticlesCount() == 0) return;
    MAC_Particle3* const* const particle = particles.getParticlesArray().data();
    const uint32_t count = particles.getParticlesArray().size();
    if (landings != nullptr && landings->count != count) landings = nullptr;
    const VelocitySampler lookup(fluid.getGrid());
    unsigned char* const marks = occupied.data();
    runParallelRanges(
        count,
        [&](const WorkRange& range) {
            Scratch& mine = perThread[range.threadIndex];
            // Neighbouring particles mostly share a cell, which needs its
            // mark set once.
            uint32_t marked = ParticleLandings::kOutside;
            const uint32_t end = range.first + range.count;
            for (uint32_t n = range.first; n < end; ++n) {
                // The cell as Grid3::locate finds it; a particle outside the
                // grid neither creates a cell nor goes away.
                uint32_t index = landings != nullptr ? landings->cells[n] : ParticleLandings::kRecompute;
                if (index == ParticleLandings::kRecompute &&
                    !lookup.indexAtOffset(lookup.offsetOf(particle[n]->position), index))
                    continue;
                if (index == ParticleLandings::kOutside || index == marked) continue;
                const unsigned char type = codes[index];
                if (type == GridTypes::kNoCell) {
                    mine.sites.push_back(index);
                } else if (type == LBM_CELL_SINK) {
                    mine.sunkIds.push_back(particle[n]->id);
                } else if (type == LBM_CELL_FLUID || type == LBM_CELL_INTERFACE) {
                    // Workers may mark the same cell; they all write 1.
                    std::atomic_ref<unsigned char>(marks[index]).store(1, std::memory_order_relaxed);
                    marked = index;
                }
            }
        },
        threads);

    mergeInWorkerOrder(sunkIds, perThread, workers, &Scratch::sunkIds);
    if (!sunkIds.empty()) particles.remove(sunkIds);

    // Several particles may share a site: one cell per site, in grid order.
    mergeInWorkerOrder(sites, perThread, workers, &Scratch::sites);
    std::sort(sites.begin(), sites.end());
    sites.resize(uint32_t(std::unique(sites.begin(), sites.end()) - sites.begin()));
}

void RelabelPass::createCellsForParticles(MAC_LBM_Fluid3& fluid, const MAC_LBM_Fluid3::SolverKey& key,
                                          const unsigned int& threads) {
    Scratch* const perThread = perWorker.forWorkers(threads);
    const GridNeighbourhood grid(fluid.getGrid());
    // The sites take the pooled cells in grid order, whatever the thread
    // count; every field is set here, so nothing of a cell's previous use
    // survives.
    newCells.resize(sites.size());
    fluid.acquireLiquidCells(key, sites.size(), newCells.data());
    // A new cell averages its liquid neighbours but those made in this
    // step, which are not in the grid yet: the mark left from the last
    // step must not hide one.
    runParallelIndices(
        sites.size(),
        [&](const unsigned int&, uint32_t n) {
            Codes around;
            gatherCodes(grid, sites[n], around);
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (LBM_Q19_MAC_Cell3F* neighbour = liquidNeighbour(grid, sites[n], around, i))
                    clearFlagShared(neighbour, MAC_FLAG_NEW_INTERFACE);
        },
        threads);
    runParallelIndices(
        sites.size(),
        [&](const unsigned int& t, uint32_t n) {
            const unsigned int index = sites[n];
            LBM_Q19_MAC_Cell3F* cell = newCells[n];
            uint32_t x, y, z;
            grid.decode(index, x, y, z);
            MovingNeighbours& neighbours = perThread[t].movingNeighbours;
            fluid.getNeighborCells(x, y, z, fluid.getGrid(), neighbours);
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
        },
        threads);

    auto& cells = fluid.refGrid();
    for (LBM_Q19_MAC_Cell3F* cell : newCells) {
        retype(cell, LBM_CELL_INTERFACE);
        cells.at(cell->getGridMonoindex()) = cell;
    }
}

void RelabelPass::emptyCellsWithoutParticles(MAC_LBM_Fluid3& fluid, const MAC_LBM_Fluid3::SolverKey& key,
                                             const unsigned int& threads) {
    Scratch* const perThread = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) {
        perThread[t].emptied.clear();
        perThread[t].emptiedAtSink.clear();
        perThread[t].emptiedMass.clear();
        perThread[t].toInterface.clear();
    }
    const bool drains = fluid.getSinksDrain();
    const GridNeighbourhood grid(fluid.getGrid());
    const LiquidCells& listed = fluid.getArrLiquidCells();
    remaining.density.resize(listed.size());
    remaining.gridIndex.resize(listed.size());
    runParallelIndices(
        listed.size(),
        [&](const unsigned int& t, uint32_t n) {
            LBM_Q19_MAC_Cell3F* cell = listed[n];
            const bool stays = occupied[cell->getGridMonoindex()] != 0;
            cell->refFlags().clear(kStepLiquidFlags);
            if (stays) cell->refFlags().set(MAC_FLAG_HAS_PARTICLE);
            remaining.density[n] = stays ? cell->getDensity() : 0.0f;
            remaining.gridIndex[n] = cell->getGridMonoindex();
            if (stays) return;
            Scratch& mine = perThread[t];
            mine.emptied.push_back(cell);
            Codes around;
            gatherCodes(grid, cell->getGridMonoindex(), around);
            bool atSink = false;
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i) {
                if (LBM_Q19_MAC_Cell3F* n = fullNeighbour(grid, cell->getGridMonoindex(), around, i))
                    mine.toInterface.push_back(n);
                atSink = atSink || around[i] == LBM_CELL_SINK;
            }
            const bool drainsHere = drains && atSink;
            if (drainsHere) mine.emptiedAtSink.push_back(cell);
            if (conserving) mine.emptiedMass.push_back(drainsHere ? 0.0f : heldMass(*cell));
        },
        threads);

    // Summed in list order before the cells go back to the pool, so the
    // total does not depend on the thread count. It is the mass that leaves
    // when mass is conserved, the density otherwise.
    drained = 0.0f;
    if (drains) {
        mergeInWorkerOrder(emptiedAtSink, perThread, workers, &Scratch::emptiedAtSink);
        for (const LBM_Q19_MAC_Cell3F* cell : emptiedAtSink)
            drained += conserving ? heldMass(*cell) : cell->getDensity();
    }

    // releaseCell gives the cell the type NONE and returns it to the pool,
    // which rewinds when its last cell comes back.
    auto& cells = fluid.refGrid();
    forEachInWorkerOrder(perThread, workers, &Scratch::emptied, [&](LBM_Q19_MAC_Cell3F* cell) {
        cells.at(cell->getGridMonoindex()) = nullptr;
        codes[cell->getGridMonoindex()] = GridTypes::kNoCell;
        fluid.releaseCell(key, cell);
    });
    convertToInterface(workers);
    if (conserving) shareEmptiedMass(grid, workers);
}

// The mass of each emptied cell goes to the interface cells around it,
// which now include its former full neighbours; one with none around it
// leaves its mass to the sub-step's hand-back.
void RelabelPass::shareEmptiedMass(const GridNeighbourhood& grid, const uint32_t& workers) {
    Scratch* const perThread = perWorker.forWorkers(workers);
    AllNeighbours& neighbours = perThread[0].neighbours;
    for (uint32_t t = 0; t < workers; ++t) {
        const Scratch& mine = perThread[t];
        for (uint32_t n = 0; n < mine.emptied.size(); ++n)
            if (mine.emptiedMass[n] != 0.0f)
                shareWithInterfaceNeighbours(grid, mine.emptied[n]->getGridMonoindex(), mine.emptiedMass[n],
                                             neighbours);
    }
}

void RelabelPass::convertSinkNeighbours(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Scratch* const perThread = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) perThread[t].toInterface.clear();
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        fluid.refArrSinkCells(),
        [&](const unsigned int& t, LBM_SinkCell3<float>* sink) {
            Codes around;
            gatherCodes(grid, sink->getGridMonoindex(), around);
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (LBM_Q19_MAC_Cell3F* n = fullNeighbour(grid, sink->getGridMonoindex(), around, i))
                    perThread[t].toInterface.push_back(n);
        },
        threads);
    convertToInterface(workers);
}

void RelabelPass::fillSurroundedCells(MAC_LBM_Fluid3& fluid, const unsigned int& threads) {
    Scratch* const perThread = perWorker.forWorkers(threads);
    const uint32_t workers = workerCount(threads);
    for (uint32_t t = 0; t < workers; ++t) perThread[t].filled.clear();
    const GridNeighbourhood grid(fluid.getGrid());
    runParallel(
        surfaceCells,
        [&](const unsigned int& t, LBM_Q19_MAC_Cell3F* cell) {
            if (!cell->isFluid()) return;
            const uint32_t index = cell->getGridMonoindex();
            uint32_t x, y, z;
            grid.decode(index, x, y, z);
            bool interfaceAbove = false;
            for (uint32_t above = y + 1; above < grid.getNy() && !interfaceAbove; ++above)
                interfaceAbove = codes[grid.indexOf(x, above, z)] == LBM_CELL_INTERFACE;
            if (!interfaceAbove) cell->refFlags().set(MAC_FLAG_SKY);

            Codes around;
            gatherCodes(grid, index, around);
            for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
                if (around[i] == GridTypes::kNoCell || around[i] == LBM_CELL_SINK) return;
            perThread[t].filled.push_back(cell);
        },
        threads);

    filled.clear();
    fillExcess.clear();
    forEachInWorkerOrder(perThread, workers, &Scratch::filled, [this](LBM_Q19_MAC_Cell3F* cell) {
        if (conserving) {
            filled.push_back(cell);
            fillExcess.push_back(heldMass(*cell) - cell->getDensity());
        }
        retype(cell, LBM_CELL_FLUID);
        cell->setMass(cell->getDensity());
        cell->setEpsilon(1.0f);
    });
    // A full cell holds its density: what it held beyond that goes to the
    // interface cells around it, and what it lacked is taken from them.
    for (uint32_t n = 0; n < filled.size(); ++n)
        if (fillExcess[n] != 0.0f)
            shareWithInterfaceNeighbours(grid, filled[n]->getGridMonoindex(), fillExcess[n], perThread[0].neighbours);
}

void RelabelPass::markFluidNeighbours(MAC_LBM_Fluid3& fluid, const LiquidCells& wallCells,
                                      const unsigned int& threads) {
    const GridNeighbourhood grid(fluid.getGrid());
    // Two workers may flag the same neighbour; the bit is set atomically.
    const auto flagNearInterface = [&](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) {
        if (!cell->isInterface()) return;
        Codes around;
        gatherCodes(grid, cell->getGridMonoindex(), around);
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
            if (LBM_Q19_MAC_Cell3F* n = fullNeighbour(grid, cell->getGridMonoindex(), around, i))
                setFlagShared(n, MAC_FLAG_NEAR_INTERFACE);
    };
    // The wall flags from the liquid side: a full cell has a solid among its
    // neighbours exactly when it is among that solid's neighbours. A full
    // cell now is either a cell of the step's liquid list, which is among
    // the wall cells when it has a solid neighbour, or a cell created from
    // particles in this relabelling.
    const auto flagListedWallCell = [](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) {
        if (isFull(cell)) setFlagShared(cell, MAC_FLAG_NEIGHBOUR_MARK);
    };
    const auto flagNewWallCell = [&](const unsigned int&, LBM_Q19_MAC_Cell3F* cell) {
        if (!isFull(cell)) return;
        Codes around;
        gatherCodes(grid, cell->getGridMonoindex(), around);
        for (unsigned int i = 1; i < q19::kDirectionCount; ++i)
            if (around[i] == LBM_CELL_SOLID) {
                setFlagShared(cell, MAC_FLAG_NEIGHBOUR_MARK);
                return;
            }
    };
    // Types do not change here and every flag is set on its own bit, so the
    // three visits make one pass.
    runVisitsInOnePass(threads, visitList(surfaceCells, flagNearInterface), visitList(wallCells, flagListedWallCell),
                       visitList(newCells, flagNewWallCell));
}

}  // namespace kelvar::fluid
