#pragma once

#include <vector>

#include "kv_basic/ArrayBit.h"
#include "kv_basic/ArrayOfPtr.h"
#include "kv_basic/Export.h"
#include "kv_fluids_dyn/lattice/LBM_MAC_Cell3Flags.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Cell3Weights.h"

namespace kelvar::fluid {

// The liquid cell of the free-surface domain: a D3Q19 cell with the liquid
// mass it holds, its fill fraction (mass / density), a word of per-step flags
// (LBM_MAC_Cell3Flag) and one bit per direction marking the slots that must
// be rebuilt because their distribution would come from gas.
//
// Its operations are the per-cell halves of the free-surface step, called by
// the solver in this order: streamPassFluid, streamPassSolid, then
// reconstructPdfs and massExchange on interface cells. Each receives the
// cell's 19 neighbours by direction (entry i = neighbour in direction i, null
// where no cell exists). Cells of type LBM_CELL_FLUID or LBM_CELL_INTERFACE
// are taken to be of this class, solid-typed cells LBM_SolidCell3<float>.
// The streaming passes write neighbours' slots, so two neighbouring cells must
// not run them at the same time; the other operations write only this cell.
class KV_EXPORT LBM_Q19_MAC_Cell3F : public LBM_Q19_Cell3<float> {
public:
    using Neighbours = ArrayOfPtr<LBM_Cell3<float>, KV_NO>;

    LBM_Q19_MAC_Cell3F();
    LBM_Q19_MAC_Cell3F(const LBM_Q19_MAC_Cell3F& other) = default;
    LBM_Q19_MAC_Cell3F& operator=(const LBM_Q19_MAC_Cell3F& other) = default;
    ~LBM_Q19_MAC_Cell3F() override;

    // This cell streams through streamPassFluid and streamPassSolid instead.
    void stream(std::vector<LBM_Cell3<float>*>& neighbours) override;
    const LBM_Q19_Cell3Weights<float>& getWeights() const override;

    const float& getMass() const { return mass; }
    void setMass(const float& value) { mass = value; }
    const float& getEpsilon() const { return epsilon; }
    void setEpsilon(const float& value) { epsilon = value; }
    const LBM_MAC_Cell3FlagWord& getFlags() const { return flags; }
    void setFlags(const LBM_MAC_Cell3FlagWord& value) { flags = value; }
    LBM_MAC_Cell3FlagWord& refFlags() { return flags; }
    const ArrayBit& getArrReconstructBit() const { return reconstructBits; }
    ArrayBit& refArrReconstructBit() { return reconstructBits; }

    // Gas: type LBM_CELL_EMPTY, no velocity, density, mass or fill fraction.
    // Distributions, force, flags and bits are kept.
    void setEmpty();
    // epsilon = mass / density.
    void updateEpsilon();

    // Swap streaming with the liquid neighbours along the nine stream
    // directions; marks for reconstruction the slots facing absent or sink
    // neighbours. Leaves the swapped layout the collision expects.
    void streamPassFluid(const Neighbours& neighbours);
    // Wall streaming against solid neighbours: bounce-back with the moving
    // wall term, or free slip along a wall for diagonals, blended by the
    // walls' factors. Must run after streamPassFluid.
    void streamPassSolid(const Neighbours& neighbours);
    // Adds the mass exchanged with liquid neighbours, clamping to [0, 1]
    // after every existing neighbour.
    void massExchange(const Neighbours& neighbours);
    // Rebuilds the marked slots from the gas equilibrium at unit density.
    void reconstructPdfs(const Neighbours& neighbours);
    // Adds amount / count to the density by rescaling every slot with the
    // ratio of the new to the old equilibrium.
    void addDensity(const float& amount, const unsigned int& count);

    // Adds to avgDensity and avgVelocity (which the caller zeroes) the mean
    // density and velocity of the liquid cells among entries 0 to 17, new
    // interface cells excluded; 1 and zero when there is none.
    void interpolateCellValues(const Neighbours& neighbours, float& avgDensity, Vector3<float>& avgVelocity) const;
    // The same over the first 18 entries of cells, excluding cells flagged
    // MAC_FLAG_BIT9 instead of new interface cells.
    void interpolateCellValuesSolid(const std::vector<LBM_Cell3<float>*>& cells, float& avgDensity,
                                    Vector3<float>& avgVelocity) const;
    // Velocity for a cell next to a free-slip wall: the liquid cell among the
    // six axis neighbours (cells[0..5] = directions 1..6) that best faces
    // direction, with its distributions mirrored across that axis. False when
    // no axis neighbour facing direction is liquid.
    bool getVelocityAtFreeSlipCell(const std::vector<LBM_Q19_MAC_Cell3F*>& cells, const Vector3<float>& direction,
                                   Vector3<float>& result) const;

private:
    // Free-slip exchange between own slot d (towards solid cell D) and slot m
    // of the liquid neighbour in direction fluidAxis, along the wall cell in
    // direction wallAxis.
    void streamFreeSlipPdfs(const Neighbours& neighbours, const unsigned& d, const unsigned& wallAxis,
                            const unsigned& fluidAxis, const unsigned& m);
    // Mean density and velocity of the liquid cells among the first 18
    // entries of cells, skipping those flagged with excluded.
    static void averageLiquid(LBM_Cell3<float>* const* cells, unsigned short excluded, float& avgDensity,
                              Vector3<float>& avgVelocity);

    LBM_MAC_Cell3FlagWord flags;
    float mass = 0.0f;
    float epsilon = 0.0f;
    ArrayBit reconstructBits;
};

}  // namespace kelvar::fluid
