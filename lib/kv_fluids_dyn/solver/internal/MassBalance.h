#pragma once

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/solver/internal/GridNeighbourhood.h"
#include "kv_fluids_dyn/solver/internal/PerWorker.h"
#include "kv_fluids_dyn/solver/internal/SolverTypes.h"

namespace kelvar::fluid {

// The pieces of the sub-step that keep the liquid's mass when the fluid
// asks for it (MAC_LBM_Fluid3::setConserveMass). The liquid's mass is the
// density of its full cells plus the mass of its interface cells.
// Streaming, the exchange and collision keep it up to the exchange's clip,
// what slides along free-slip walls past the exchange's books, the speed
// limiter and rounding. The clipped overflow goes back into the full cells'
// density with relabelling's balance, so that the flow feels it; the rest
// of that drift is booked on the interface cells' mass, since handing it to
// the flow pumps density through still water. Relabelling moves what cells
// that change type hold to their neighbours.

// The mass a liquid cell holds: its density when full, its mass otherwise.
inline float heldMass(const LBM_Q19_MAC_Cell3F& cell) {
    return cell.getType() == LBM_CELL_FLUID ? cell.getDensity() : cell.getMass();
}

// Adds `amount` of density to a full cell moving with the cell's velocity:
// each slot gains its share of the equilibrium of that density at that
// velocity, so the momentum grows with the density and the velocity stays.
// (Rescaling the slots instead, as addDensity does, brakes a moving cell:
// the incompressible equilibrium puts the new density mostly against the
// flow.)
void addMovingDensity(LBM_Q19_MAC_Cell3F& cell, const float& amount);

// The fill fraction mass / density, held within [0, 1].
inline void updateEpsilonClamped(LBM_Q19_MAC_Cell3F& cell) {
    const float fill = cell.getMass() / cell.getDensity();
    cell.setEpsilon(fill > 1.0f ? 1.0f : (fill > 0.0f ? fill : 0.0f));
}

// Gives `amount` (taken when negative) to the interface cells among the
// neighbours of the grid position `index` (its own slot not counted), an
// equal share each, and returns false when it has none. A cell may end
// above its density (the next exchange hands the excess to the flow); what
// would leave one with less than nothing is left to the sub-step's books.
// `neighbours` is scratch.
bool shareWithInterfaceNeighbours(const GridNeighbourhood& grid, const uint32_t& index, const float& amount,
                                  AllNeighbours& neighbours);

// The mass exchange of the interface cells when mass is kept. Each cell
// sums its exchanges with its full and interface neighbours as the plain
// exchange does, but clips the sum once, to [0, density], instead of to
// [0, 1] after every neighbour. What the clip takes off above the density is
// overflow(), which the sub-step hands to the flow, or, at a cell next to a
// drain when the fluid's sinks drain, drained(); what it adds below nothing
// is left to the sub-step's books.
//
// Input: the fluid's interface list, with fill fractions current, and grid.
// Output: the interface cells' mass, drained() and overflow() in lattice
// units.
class KeptMassExchangePass {
public:
    void run(MAC_LBM_Fluid3& fluid, const unsigned int& threads);
    const double& drained() const { return drainedMass; }
    const double& overflow() const { return overflowMass; }

private:
    struct alignas(64) Scratch {
        AllNeighbours neighbours;
    };

    PerWorker<Scratch> perWorker;
    Array<float> drainedAt;   // per interface cell, in list order
    Array<float> overflowAt;  // the same
    double drainedMass = 0.0;
    double overflowMass = 0.0;
};

// The liquid's mass summed in double precision, cell by cell in list order,
// so that the sub-step's balance does not drift with rounding. The workers
// first copy what each cell holds into a dense array, since one thread
// reading the cells one after the other waits on memory for each; the sum
// then runs over that array in list order, with the bits of a plain loop.
class LiquidMassSum {
public:
    // Over a list of liquid cells.
    double overList(const LiquidCells& cells, const unsigned int& threads);
    // Over the liquid after relabelling: the step's list less the emptied
    // cells plus the created ones, each cell counted as it is now.
    double afterRelabel(const LiquidCells& listed, const LiquidCells& created, const unsigned int& threads);

private:
    // Copies the held mass of `cells` into held from `first` on. With
    // onlyLiquid, a cell that is no longer liquid adds -0 instead, which
    // leaves any sum as it was.
    void gather(const LiquidCells& cells, const uint32_t& first, const bool& onlyLiquid, const unsigned int& threads);

    Array<float> held;
};

// Hands the mass the sub-step did not keep (the context's lostMass: a loss,
// or a gain when negative) back to the full cells that did not just appear,
// an equal share of density each moving with the cell (addMovingDensity),
// all of it at once; lostMass keeps only
// the rounding of what the cells took. Liquid without full cells takes it
// into the mass of its interface cells instead.
//
// Input: the step's liquid list with the types its cells have now. Output:
// the full cells' distributions and density, and lostMass.
class MassHandBackPass {
public:
    void run(MAC_LBM_Fluid3& fluid, MAC_LBM_SolverContext3& context, const unsigned int& threads);
    // Adds `amount` to the mass of the listed cells, an equal share each;
    // false, with nothing changed, for an empty list.
    static bool shareOverMass(const LiquidCells& cells, const float& amount, const unsigned int& threads);

private:
    void handToInterfaceCells(MAC_LBM_Fluid3& fluid, MAC_LBM_SolverContext3& context, const unsigned int& threads);

    struct alignas(64) Scratch {
        LiquidCells eligible;
    };

    PerWorker<Scratch> perWorker;
    LiquidCells eligible;
    Array<float> densityBefore;
    Array<float> densityAfter;
};

}  // namespace kelvar::fluid
