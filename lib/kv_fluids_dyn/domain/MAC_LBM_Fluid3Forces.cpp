// External forcing: the force and acceleration operations of MAC_LBM_Fluid3.
// Forces and accelerations share the force vector of the liquid cells; an
// acceleration is stored as it is, not weighted by density or mass.

#include "kv_fluids_dyn/domain/internal/GridVoxelization.h"
#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/lattice/LBM_FluidCell3.h"
#include "kv_fluids_dyn/parallel/internal/GridBlocks.h"

namespace kelvar::fluid {

namespace {

// The cell holding the grid-space point p if it carries a force: null when p
// lies outside the grid box, no cell is there, or the cell is a wall or a
// drain (which have no force field).
LBM_FluidCell3<float>* forceCellAt(const detail::FluidGrid& grid, const Vector3<float>& p) {
    Tuple3<unsigned int> ijk;
    if (!grid.getBox().contains(p) || !grid.locate(p, ijk)) return nullptr;
    return dynamic_cast<LBM_FluidCell3<float>*>(grid.at(ijk.first, ijk.second, ijk.third));
}

}  // namespace

void MAC_LBM_Fluid3::addForce(const Vector3<float>& force) {
    applyToLiquidCells(worldToGridForce(force), false);
}

void MAC_LBM_Fluid3::setForce(const Vector3<float>& force) {
    applyToLiquidCells(worldToGridForce(force), true);
}

void MAC_LBM_Fluid3::addAcceleration(const Vector3<float>& acceleration) {
    applyToLiquidCells(worldToGridAcceleration(acceleration), false);
}

void MAC_LBM_Fluid3::setAcceleration(const Vector3<float>& acceleration) {
    applyToLiquidCells(worldToGridAcceleration(acceleration), true);
}

// The position is in grid space and the cell's type is not checked: any
// liquid-pool cell there, empty or not, takes the force.
void MAC_LBM_Fluid3::addForce(const Vector3<float>& position, const Vector3<float>& force) {
    const Vector3<float> converted = worldToGridForce(force);
    if (LBM_FluidCell3<float>* cell = forceCellAt(grid, position)) cell->addForce(converted);
}

void MAC_LBM_Fluid3::setForce(const Vector3<float>& position, const Vector3<float>& force) {
    const Vector3<float> converted = worldToGridForce(force);
    if (LBM_FluidCell3<float>* cell = forceCellAt(grid, position)) cell->setForce(converted);
}

// Unlike the positional forces, this takes a world position and changes only
// a fluid or interface cell.
void MAC_LBM_Fluid3::addAcceleration(const Vector3<float>& position, const Vector3<float>& acceleration) {
    const Vector3<float> converted = worldToGridAcceleration(acceleration);
    LBM_FluidCell3<float>* cell = forceCellAt(grid, worldToGridPosition(position));
    if (cell != nullptr && cell->isFluid()) cell->addForce(converted);
}

// Each cell takes the value on its own, so the result does not depend on
// the thread count. The grid goes in blocks dealt to the workers in turn:
// the liquid may lie at one end of it.
void MAC_LBM_Fluid3::applyToLiquidCells(const Vector3<float>& v, const bool& replace) {
    LBM_Cell3<float>* const* const cells = grid.getCells().data();
    runGridBlocks(
        grid.getCount(),
        [&](const unsigned int&, uint32_t, const GridBlock& block) {
            for (uint32_t n = block.first; n < block.end; ++n) {
                LBM_Cell3<float>* cell = cells[n];
                if (cell == nullptr || !cell->isFluid()) continue;
                auto* liquid = static_cast<LBM_FluidCell3<float>*>(cell);
                if (replace)
                    liquid->setForce(v);
                else
                    liquid->addForce(v);
            }
        },
        threads);
}

}  // namespace kelvar::fluid
