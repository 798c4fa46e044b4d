#pragma once

#include "kv_basic/Array.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/DensitySums.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/internal/GridTypes.h"
#include "kv_fluids_dyn/solver/internal/ParticleLandings.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// Relabelling from the marker particles: a cell is liquid while a particle
// lies in it. run() takes its steps in this order:
//   1. clear the per-step flags (a liquid cell's where a later step first
//      touches it);
//   2-4. bin the particles into cells: liquid cells with a particle are
//      marked, particles in sinks are deleted, empty sites that hold a
//      particle are recorded;
//   5. create an interface cell at each recorded site, initialised from its
//      liquid neighbours;
//   6-7. flag the marked liquid cells, empty the others and turn their
//      full neighbours into interface cells;
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
//
// When the fluid conserves mass, cells that change type hand what they hold
// to their interface neighbours: an emptied cell its mass (unless it drains),
// a filled cell the difference between its mass and its density; a full
// cell turned into an interface cell takes its density as mass.
//
// The neighbours' types are read from the grid's type codes, which every
// type change here writes through, so that they stay true for each step.
//
// Input: the fluid's grid, its four cell lists as rebuilt at the start of
// the sub-step, its particles, the type codes of the grid's positions as
// they stand (kept in step with the relabelling), and `wallCells`: the liquid-list cells with a
// solid neighbour, for solids as they are now (StreamPass::wallCells()),
// and, when the advection of the same sub-step ran just before, where it
// left the particles (AdvectionPass::landings()), or null.
// Output: the grid and the cells relabelled, particles in sinks removed,
// createdCells(), the cells made in step 5 in grid order,
// listedDensities(), the liquid list's densities as it leaves them, and, when the
// fluid's sinks drain, drainedDensity() (the mass drained when mass is
// conserved).
class RelabelPass {
public:
    void run(MAC_LBM_Fluid3& fluid, GridTypes& types, const LiquidCells& wallCells,
             const MAC_LBM_Fluid3::SolverKey& key, const unsigned int& threads,
             const ParticleLandings* landings = nullptr);

    const LiquidCells& createdCells() const { return newCells; }
    // The densities of the liquid list after the last run, 0 for the cells
    // it emptied (DensitySums.h); densities do not change after step 6 but
    // when mass is conserved.
    const ListedDensities& listedDensities() const { return remaining; }
    // The density of the cells emptied next to a sink in the last run, summed
    // in grid order; counted only when the fluid's sinks drain.
    const float& drainedDensity() const { return drained; }

    // Step 1 alone: clears the per-step flags of the listed liquid, solid and
    // sink cells.
    static void clearStepFlags(MAC_LBM_Fluid3& fluid, const unsigned int& threads);

private:
    using Codes = unsigned char[q19::kDirectionCount];

    struct alignas(64) Scratch {
        AllNeighbours neighbours;  // the mass-sharing steps' scratch
        MovingNeighbours movingNeighbours;
        Array<unsigned int> sites;
        Array<unsigned int> sunkIds;
        LiquidCells emptied;
        LiquidCells emptiedAtSink;
        Array<float> emptiedMass;  // per emptied cell, what it hands on
        LiquidCells toInterface;
        LiquidCells filled;
    };

    void clearWallAndSinkFlags(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void binParticles(MAC_LBM_Fluid3& fluid, const ParticleLandings* landings, const unsigned int& threads);
    void createCellsForParticles(MAC_LBM_Fluid3& fluid, const MAC_LBM_Fluid3::SolverKey& key,
                                 const unsigned int& threads);
    void emptyCellsWithoutParticles(MAC_LBM_Fluid3& fluid, const MAC_LBM_Fluid3::SolverKey& key,
                                    const unsigned int& threads);
    void convertSinkNeighbours(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void fillSurroundedCells(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    void markFluidNeighbours(MAC_LBM_Fluid3& fluid, const LiquidCells& wallCells, const unsigned int& threads);
    void convertToInterface(const uint32_t& workers);
    void shareEmptiedMass(const GridNeighbourhood& grid, const uint32_t& workers);
    // The codes of a position's 19 neighbours, kNoCell beyond the grid.
    void gatherCodes(const GridNeighbourhood& grid, const uint32_t& index, Codes& out) const {
        grid.gatherCodes(codes, GridTypes::kNoCell, index, out);
    }
    // A cell's new type, in the cell and in its position's code.
    void retype(LBM_Q19_MAC_Cell3F* cell, const unsigned char& type) {
        cell->setType(type);
        codes[cell->getGridMonoindex()] = type;
    }

    PerWorker<Scratch> perWorker;
    Array<unsigned int> sites;
    Array<unsigned int> sunkIds;
    // Per grid position, 1 where the binning found a particle in a liquid
    // cell: the cells that keep their liquid.
    Array<unsigned char> occupied;
    LiquidCells newCells;
    ListedDensities remaining;
    LiquidCells surfaceCells;
    LiquidCells emptiedAtSink;
    LiquidCells filled;
    Array<float> fillExcess;
    float drained = 0.0f;
    bool conserving = false;
    unsigned char* codes = nullptr;  // the run's type codes
};

}  // namespace kelvar::fluid
